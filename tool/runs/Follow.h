// Joins a run that another process carries on, and carries on one that nobody does any more.

#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "Progress.h"
#include "StateFolder.h"
#include "Verdict.h"

namespace tool {

/// How long to stay with a run that goes on. Nothing is ever ended because of it.
struct Patience {
  std::chrono::seconds all{};       ///< in all
  std::chrono::seconds perDrive{};  ///< without another drive being begun
};

/// Waits for the end of a run, and completes what its processes have left undone: a flash whose tool has died
/// gets its verdict, and drives that waited for a reset are looked at again after it. The answer of a run
/// that goes on after all is kRunning, with status 5.
///
/// A run that died before anything was flashed is left as it is; its answer is that of `endedBefore`.
/// Throws std::exception when the run cannot be read.
RunAnswer follow(const StateFolder& state, Run& run, const Patience& patience, ProgressDisplay& display);

/// The answer for a run that ended before anything was flashed: all drives that were to be are untouched.
Verdict endedBefore(const Run& run);

/// Ends every run that no process carries on any more, as `follow` does, but for the one of that name. One
/// line for each of them, for a person. The caller holds the RunLock.
std::vector<std::string> endDeadRuns(const StateFolder& state, const std::string& except);

/// How long the process that is to flash may take to begin, after the approval.
inline constexpr std::chrono::seconds kHandover{30};

}  // namespace tool
