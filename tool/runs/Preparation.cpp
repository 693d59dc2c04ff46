#include "Preparation.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <stdexcept>

#include "Boot.h"
#include "Flash.h"
#include "PackageCopy.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr char kCopyName[] = "component";

/// The working folder of the component becomes part of a shell command, unquoted.
bool isSafeForShell(const std::string& path) {
  return std::all_of(path.begin(), path.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '/' ||
           c == '-' || c == '_' || c == '.';
  });
}

/// Throws when the disk is too full for documents and logs: a run must be able to keep its outcome.
void requireSpace(const fs::path& folder) {
  constexpr std::uint64_t kNeeded = std::uint64_t{8} << 20U;
  struct statvfs disk {};
  if (statvfs(folder.c_str(), &disk) != 0) return;
  if (std::uint64_t{disk.f_bavail} * disk.f_frsize < kNeeded)
    throw std::runtime_error(folder.string() + ": less than 8 MiB are free, too little to keep the outcome");
}

/// The serial numbers that the copy lists. The plan names none when all drives are flashed; a drive that is
/// plugged in meanwhile must not be flashed even so.
std::optional<std::vector<std::string>> listOf(const Plan& plan) {
  if (plan.allowed) return plan.allowed;
  std::vector<std::string> serials;
  for (std::size_t i = 0; i < plan.verdict.drives.size(); ++i) {
    const DriveFacts* const facts = plan.facts[i];
    const std::string serial = facts != nullptr ? facts->serial : plan.verdict.drives[i].serial.value_or("");
    if (serial.empty() || serial.find_first_of("\r\n") != std::string::npos) return std::nullopt;
    serials.push_back(serial);
  }
  return serials;
}

/// Gives an update the folder to run in.
void layOut(Run& run, const Plan& plan, const Payload& payload, bool obeysList) {
  RunRecord& record = run.record;
  record.workingFolder = record.component;
  if (!obeysList) return;
  const fs::path copy = run.file(kCopyName);
  if (!isSafeForShell(copy.string()))
    throw std::runtime_error(
        copy.string() + ": the component cannot run in a folder of this name; name another one with --state");
  copyPackage(record.component, copy, listOf(plan));
  if (readPayload(copy).sha256 != payload.sha256)
    throw std::runtime_error(record.component + ": the payload has changed while it was copied");
  record.workingFolder = copy.string();
}

}  // namespace

FolderPlan planFolder(const fs::path& folder, const InventoryTaken& inventory, const Policy& policy,
                      const std::vector<EarlierFlash>& earlier, bool obeysList) {
  FolderPlan planned{.kernel = readDriveFacts(folder), .payload = readPayload(folder)};
  const std::vector<Record> none;
  planned.plan = planUpdate({.inventory = inventory.document ? inventory.document->records : none,
                             .kernel = planned.kernel.drives,
                             .policy = policy,
                             .payload = planned.payload,
                             .obeysList = obeysList,
                             .earlier = earlier});
  std::vector<std::string>& reasons = planned.plan.verdict.reasons;
  reasons.insert(reasons.begin(), inventory.problems.begin(), inventory.problems.end());
  return planned;
}

Verdict prepare(Run& run, const Policy& policy, const std::vector<EarlierFlash>& earlier, bool obeysList) {
  RunRecord& record = run.record;
  requireSpace(run.folder);
  const InventoryTaken before = takeInventory(record.component, record.environment, run.file("before"));
  FolderPlan planned = planFolder(record.component, before, policy, earlier, obeysList);
  Verdict& verdict = planned.plan.verdict;
  verdict.run = record.name;
  verdict.bootId = record.bootId = bootId();
  record.payload = planned.payload.sha256;
  record.toFlash = planned.plan.toFlash();
  if (record.toFlash > 0) layOut(run, planned.plan, planned.payload, obeysList);
  run.save();
  return std::move(planned.plan.verdict);
}

Verdict refusal(std::vector<std::string> reasons) {
  return {.outcome = RunOutcome::kRefused, .reasons = std::move(reasons)};
}

std::size_t drivesToFlash(const Verdict& plan) {
  return static_cast<std::size_t>(
      std::count_if(plan.drives.begin(), plan.drives.end(),
                    [](const DriveVerdict& drive) { return drive.state == Outcome::kFlash; }));
}

bool mayTellOfFlashes(const Run& run, bool isThisRun) {
  const RunRecord& record = run.record;
  return record.hasFlashed && record.phase == RunPhase::kDone && (isThisRun || record.bootId == bootId());
}

std::vector<EarlierFlash> flashesOf(const Run& run, const Verdict& verdict, bool isThisRun) {
  std::vector<EarlierFlash> flashes;
  if (!mayTellOfFlashes(run, isThisRun)) return flashes;
  const bool isThisBoot = run.record.bootId == bootId();
  for (const DriveVerdict& drive : verdict.drives) {
    const bool isDone = drive.state == Outcome::kUpdated || drive.state == Outcome::kCurrent;
    const bool isRunning = isThisRun && isDone && drive.after;
    const bool isWaiting =
        isThisBoot && (drive.state == Outcome::kStaged || (isThisRun && drive.state == Outcome::kUnchanged));
    if (!isRunning && !isWaiting) continue;
    flashes.push_back({.serial = drive.serial.value_or(""),
                       .pci = drive.pci.value_or(PciIds{}),
                       .sha256 = run.record.payload,
                       .revision = (isRunning ? drive.after : drive.staged).value_or(""),
                       .isRunning = isRunning});
  }
  return flashes;
}

std::vector<EarlierFlash> earlierFlashes(const RunList& runs, const std::string& run) {
  std::vector<EarlierFlash> flashes;
  const auto take = [&flashes](const Run& from, bool isThisRun) {
    if (!mayTellOfFlashes(from, isThisRun)) return;
    const std::vector<EarlierFlash> more = flashesOf(from, storedVerdict(from), isThisRun);
    flashes.insert(flashes.end(), more.begin(), more.end());
  };
  for (const Run& each : runs.runs) {
    const bool isThisRun = each.record.name == run;
    take(each, isThisRun);
    if (!isThisRun) continue;
    for (const Run& attempt : each.attempts()) take(attempt, isThisRun);
  }
  return flashes;
}

}  // namespace tool
