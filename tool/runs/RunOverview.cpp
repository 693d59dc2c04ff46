#include "RunOverview.h"

#include <algorithm>
#include <set>
#include <string>

#include "Boot.h"
#include "Flash.h"
#include "Preparation.h"
#include "RunLock.h"

namespace tool {

std::optional<Run> lastRun(const RunList& list) {
  const auto update = std::find_if(list.runs.rbegin(), list.runs.rend(),
                                   [](const Run& run) { return run.record.kind == RunKind::kUpdate; });
  if (update != list.runs.rend()) return *update;
  return list.runs.empty() ? std::nullopt : std::optional(list.runs.back());
}

Verdict overviewOf(const Run& run) {
  Verdict verdict = storedVerdict(run);
  if (run.record.phase == RunPhase::kDone) return verdict;
  const bool isRunning = isRunInProgress();
  verdict.outcome = isRunning ? RunOutcome::kRunning : RunOutcome::kUndecided;
  return verdict;
}

namespace {

LastRun toldOf(const Run& run, const Verdict& verdict) {
  LastRun last{.name = run.record.name,
               .kind = nameOf(run.record.kind),
               .outcome = nameOf(verdict.outcome),
               .status = exitStatusOf(verdict.outcome),
               .began = secondsOf(run.record.began),
               .ended = secondsOf(run.record.ended)};
  for (const DriveVerdict& drive : verdict.drives) ++last.drives[outcomeName(drive.state)];
  return last;
}

std::size_t drivesAwaitingReset(const std::vector<DriveFacts>& drives,
                                const std::vector<EarlierFlash>& flashes) {
  std::set<std::string> waiting;
  std::set<std::string> known;
  for (const DriveFacts& drive : drives) {
    if (!drive.slots) continue;
    known.insert(drive.serial);
    if (drive.slots->isStaged()) waiting.insert(drive.serial);
  }
  for (const EarlierFlash& taken : flashes) {
    if (!known.contains(taken.serial)) waiting.insert(taken.serial);
  }
  return waiting.size();
}

}  // namespace

RunsOverview overviewOf(const RunList& list, const std::vector<DriveFacts>& drives) {
  RunsOverview overview;
  std::vector<EarlierFlash> flashes;
  const std::optional<Run> last = lastRun(list);
  for (const Run& run : list.runs) {
    const bool isLast = last && run.record.name == last->record.name;
    if (!isLast && !mayTellOfFlashes(run, false)) continue;
    const Verdict verdict = overviewOf(run);
    if (isLast) overview.last = toldOf(run, verdict);
    const std::vector<EarlierFlash> more = flashesOf(run, verdict, false);
    flashes.insert(flashes.end(), more.begin(), more.end());
  }
  overview.awaitingReset = drivesAwaitingReset(drives, flashes);
  return overview;
}

}  // namespace tool
