#include "Follow.h"

#include <algorithm>
#include <exception>
#include <thread>
#include <utility>

#include "Boot.h"
#include "Flash.h"
#include "RunLock.h"
#include "VerdictText.h"

namespace tool {

namespace {

constexpr std::chrono::milliseconds kStep{200};

using Clock = std::chrono::steady_clock;

/// The process that is to flash has been started and may not have got the lock yet.
bool isBeingHandedOver(const Run& run) {
  return run.record.phase == RunPhase::kApproved && run.record.bootId == bootId() &&
         secondsSinceBoot() - run.record.approved < kHandover.count();
}

bool mayHaveFlashed(const Run& run) {
  return run.record.phase == RunPhase::kFlashing || run.record.phase == RunPhase::kVerifying;
}

/// The caller holds the lock, so nobody else carries the run on. A process that was to flash and has not
/// begun yet must not begin any more.
void conclude(const StateFolder& state, Run& run) {
  if (mayHaveFlashed(run)) {
    concludeFlash(state, run);
  } else if (run.record.phase == RunPhase::kApproved) {
    run.record.phase = RunPhase::kPlanning;
    run.save();
  }
}

RunAnswer running(const Run& run, const Progress& now) {
  Verdict verdict = storedVerdict(run);
  verdict.outcome = RunOutcome::kRunning;
  verdict.reasons = {"the run goes on: nvmepcissd-tool result " + run.record.name + " --wait 600 joins it"};
  return {std::move(verdict), now};
}

/// Of a finished run, after a look at what a reset has changed.
Verdict finished(Run& run) {
  std::string problem;
  if (isResetOutstanding(run)) {
    const auto lock = RunLock::tryAcquire();
    try {
      if (lock) completeAfterReset(run);
    } catch (const std::exception& error) {
      problem = error.what();
    }
    if (!lock) problem = "another run goes on";
  }
  Verdict verdict = storedVerdict(run);
  if (!problem.empty())
    verdict.reasons.push_back("there was a reset since, and no inventory could be taken: " + problem);
  return verdict;
}

}  // namespace

RunAnswer follow(const StateFolder& state, Run& run, const Patience& patience, ProgressDisplay& display) {
  const auto end = Clock::now() + patience.all;
  auto begun = Clock::now();
  Progress before;
  for (;;) {
    run.load();
    if (run.record.phase == RunPhase::kDone) return {finished(run)};
    if (!isBeingHandedOver(run) && !isRunInProgress()) {
      if (const auto lock = RunLock::tryAcquire()) {
        run.load();
        conclude(state, run);
        if (run.record.phase != RunPhase::kDone) return {endedBefore(run)};
        continue;
      }
    }
    const Progress now = progressOf(run);
    display.show(now);
    if (now.drive != before.drive) begun = Clock::now();
    before = now;
    if (Clock::now() >= end || Clock::now() - begun >= patience.perDrive) return running(run, now);
    std::this_thread::sleep_for(kStep);
  }
}

Verdict endedBefore(const Run& run) {
  Verdict verdict = storedVerdict(run);
  const auto& record = run.record;
  verdict.wasInterrupted = true;
  for (DriveVerdict& drive : verdict.drives) {
    if (drive.state != Outcome::kFlash) continue;
    drive.state = Outcome::kUntouched;
    drive.reason = "the run ended before anything was flashed";
  }
  conclude(verdict);
  if (record.kind == RunKind::kInventory) {
    verdict.reasons = {"the inventory was cut off: take another one"};
    return verdict;
  }
  verdict.reasons = {std::string("the run ended while it was ") + nameOf(record.phase) +
                     ", before anything was flashed: nvmepcissd-tool update " + record.component + " --run " +
                     record.name + " plans it anew"};
  return verdict;
}

std::vector<std::string> endDeadRuns(const StateFolder& state, const std::string& except) {
  std::vector<std::string> notes;
  for (Run& run : state.list().runs) {
    const RunPhase phase = run.record.phase;
    if (phase == RunPhase::kDone || run.record.name == except) continue;
    conclude(state, run);
    if (run.record.phase != RunPhase::kDone) {
      run.record.wasInterrupted = true;
      finish(state, run, endedBefore(run));
    }
    notes.push_back("the run " + run.record.name + " had ended while it was " + nameOf(phase) + ": " +
                    sentence(storedVerdict(run)));
  }
  return notes;
}

}  // namespace tool
