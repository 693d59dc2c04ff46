// The steps of an update that somebody has approved, and how its outcome is found out. Each step leaves on
// the disk what a later call needs to go on from there, whenever the processes of this one die.

#pragma once

#include <string>

#include "StateFolder.h"
#include "Verdict.h"

namespace tool {

// What a run leaves in its folder, beside run.json.
inline constexpr char kPlanFile[] = "plan.json";
inline constexpr char kVerdictFile[] = "verdict.json";
inline constexpr char kUpdateStem[] = "update";  ///< of the flash: see ComponentFiles.h
inline constexpr char kUpdateLog[] = "update.log";

/// Leaves the plan where `flash` and `storedVerdict` find it. Its reasons become those of the verdict, too.
/// Throws std::system_error.
void keepPlan(const Run& run, const Verdict& plan);

/// Flashes an approved run, and then concludes it. The caller holds the RunLock. Returns when the component
/// has ended, whenever that is. Throws std::exception when something could not be written or started: the run
/// is approved as before, or can be concluded later.
void flash(const StateFolder& state, Run& run);

/// Finds out how a flash ended whose component has ended: takes an inventory, puts it together with what the
/// run left, and writes the verdict. The caller holds the RunLock.
void concludeFlash(const StateFolder& state, Run& run);

/// Ends a run with a verdict. Throws std::system_error; the run is as it was then.
void finish(const StateFolder& state, Run& run, Verdict verdict);

/// True for a finished run with drives that a reset has changed since its verdict: there has been a reboot,
/// or a drive's slots show that its controller was reset.
bool isResetOutstanding(const Run& run);

/// Completes such a run by an inventory: what was staged is updated or stale now. The caller holds the
/// RunLock. The verdict stays as it was when there is no inventory.
void completeAfterReset(Run& run);

/// The verdict of a finished run, or the plan of another one. Without a file that can be read it is
/// undecided, and says why.
Verdict storedVerdict(const Run& run);

}  // namespace tool
