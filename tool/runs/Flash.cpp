#include "Flash.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "AtomicFile.h"
#include "Boot.h"
#include "Component.h"
#include "ComponentFiles.h"
#include "FileDescriptor.h"
#include "Judgement.h"

namespace tool {

namespace {

Verdict readStored(const Run& run, const char* name) {
  std::vector<std::string> problems;
  if (const auto content = contentOf(run.file(name), problems)) {
    VerdictReading reading = readVerdict(*content);
    if (reading.verdict) return *std::move(reading.verdict);
    problems.push_back(run.file(name).string() + ": " + reading.problem);
  }
  return {.outcome = RunOutcome::kUndecided, .reasons = std::move(problems)};
}

/// The component has ended.
RunEvidence evidenceOf(const Run& run, std::optional<Document> after, std::vector<std::string>& problems) {
  return {.before = documentFrom(run.file("before.xml"), problems),
          .update = documentFrom(run.file("update.xml"), problems),
          .after = std::move(after),
          .log = logFrom(run.file(kUpdateLog), true, problems),
          .isNarrowed = run.record.workingFolder != run.record.component};
}

/// Where nobody saw the component end, its log tells whether it came to its end.
bool wasCutOff(std::optional<int> exitStatus, const std::optional<LoggedRun>& log) {
  return exitStatus ? *exitStatus > 1 : !(log && log->ended);
}

/// Whether each drive whose outcome hangs on a reset has been reset since the verdict. A reboot resets all of
/// them; without one, firmware that does not wait in its slot any more tells.
std::vector<bool> resetsSince(const Run& run, const Verdict& verdict) {
  const bool wasRebooted = run.record.verifiedIn != bootId();
  const auto isOpen = [](const DriveVerdict& drive) {
    return drive.state == Outcome::kStaged || drive.state == Outcome::kUnchanged;
  };
  std::vector<bool> wasReset(verdict.drives.size());
  if (std::none_of(verdict.drives.begin(), verdict.drives.end(), isOpen)) return wasReset;
  const std::vector<std::optional<bool>> waiting = waitingInSlots(verdict);
  for (std::size_t i = 0; i < wasReset.size(); ++i) {
    const DriveVerdict& drive = verdict.drives[i];
    wasReset[i] = isOpen(drive) && (wasRebooted || (drive.state == Outcome::kStaged && waiting[i] == false));
  }
  return wasReset;
}

/// What the record of a run tells of it, whatever was found out of its drives.
void nameRun(const Run& run, Verdict& verdict) {
  verdict.run = run.record.name;
  verdict.wasInterrupted = run.record.wasInterrupted;
  if (!verdict.bootId) verdict.bootId = run.record.bootId;
}

/// A component that did not start has flashed nothing: the run is approved as before then.
ComponentProcess startFlash(Run& run, const ComponentCall& call) {
  try {
    return ComponentProcess::start(call, /*blocksShutdown=*/true);
  } catch (const std::system_error&) {
    run.record.phase = RunPhase::kApproved;
    run.record.hasFlashed = false;
    run.save();
    throw;
  }
}

/// The component leaves it to the kernel when its log reaches the disk. What is not there when the power goes
/// is lost, and with it which drives took the firmware.
void putOnDisk(const std::filesystem::path& file) {
  const nvme_linux::FileDescriptor log(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (log.isOpen()) static_cast<void>(fdatasync(log.get()));
}

InventoryTaken inventoryOf(const Run& run, const char* stem) {
  return takeInventory(run.record.component, run.record.environment, run.file(stem));
}

}  // namespace

void flash(const StateFolder& state, Run& run) {
  const ComponentCall call =
      callLeaving(run.file(kUpdateStem), run.record.workingFolder, "-u", run.record.environment);
  run.record.phase = RunPhase::kFlashing;
  run.record.hasFlashed = true;
  run.record.bootId = bootId();
  run.record.flashBegan = secondsSinceBoot();
  run.save();
  ComponentProcess process = startFlash(run, call);
  // However long it takes: a flash is never cut short.
  while (!run.record.exitStatus) {
    run.record.exitStatus = process.wait(std::chrono::seconds(1));
    putOnDisk(run.file(kUpdateLog));
  }
  run.record.phase = RunPhase::kVerifying;
  run.save();
  concludeFlash(state, run);
}

void concludeFlash(const StateFolder& state, Run& run) {
  InventoryTaken after;
  try {
    after = inventoryOf(run, "after");
  } catch (const std::system_error& error) {
    after.problems.push_back(std::string("no inventory could be taken: ") + error.what());
  }
  const Verdict plan = readStored(run, kPlanFile);
  std::vector<std::string> reasons = plan.reasons;
  reasons.insert(reasons.end(), after.problems.begin(), after.problems.end());
  if (!run.record.exitStatus) {
    reasons.emplace_back("nobody saw the component end: it, the tool or the server died");
  } else if (*run.record.exitStatus > 1) {
    reasons.push_back("the component ended with " + std::to_string(*run.record.exitStatus));
  }
  RunEvidence evidence = evidenceOf(run, std::move(after.document), reasons);
  run.record.wasInterrupted = wasCutOff(run.record.exitStatus, evidence.log);
  // The log of a component that died is whole up to the line at which it did.
  if (evidence.log && run.record.wasInterrupted) evidence.log->flashingEnded = true;
  Verdict verdict = judgeFlash(plan, std::move(evidence));
  askSlots(verdict);
  verdict.reasons.insert(verdict.reasons.begin(), reasons.begin(), reasons.end());
  verdict.bootId = run.record.bootId;
  finish(state, run, std::move(verdict));
}

void keepPlan(const Run& run, const Verdict& plan) {
  writeAtomically(run.file(kPlanFile), toJson(plan), Existing::kReplace);
}

void finish(const StateFolder& state, Run& run, Verdict verdict) {
  nameRun(run, verdict);
  RunRecord& record = run.record;
  writeAtomically(run.file(kVerdictFile), toJson(verdict), Existing::kReplace);
  record.phase = RunPhase::kDone;
  record.ended = timeNow();
  record.verifiedIn = bootId();
  run.save();
  state.prune(record.kind);
}

bool isResetOutstanding(const Run& run) {
  if (run.record.phase != RunPhase::kDone || !run.record.hasFlashed) return false;
  const std::vector<bool> wasReset = resetsSince(run, storedVerdict(run));
  return std::find(wasReset.begin(), wasReset.end(), true) != wasReset.end();
}

void completeAfterReset(Run& run) {
  const InventoryTaken now = inventoryOf(run, "after-reset");
  if (!now.document) throw std::runtime_error(now.problems.empty() ? "no inventory" : now.problems.front());
  Verdict verdict = storedVerdict(run);
  judgeReset(verdict, *now.document, resetsSince(run, verdict));
  askSlots(verdict);
  writeAtomically(run.file(kVerdictFile), toJson(verdict), Existing::kReplace);
  run.record.verifiedIn = bootId();
  run.save();
}

Verdict storedVerdict(const Run& run) {
  Verdict verdict = readStored(run, run.record.phase == RunPhase::kDone ? kVerdictFile : kPlanFile);
  nameRun(run, verdict);
  return verdict;
}

}  // namespace tool
