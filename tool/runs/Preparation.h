// Everything between the check of the folder and the question that touches no drive: inventory and plan.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "ComponentFiles.h"
#include "DriveFacts.h"
#include "Payload.h"
#include "Plan.h"
#include "Policy.h"
#include "StateFolder.h"
#include "Verdict.h"

namespace tool {

/// A plan, and what it was made from and points into.
struct FolderPlan {
  DriveList kernel{};
  Payload payload{};
  Plan plan{};
};

/// Plans the update of a component folder whose inventory was taken. Problems of the inventory become
/// reasons. `earlier` are drives that took firmware in this boot; `obeysList` is that of the folder's
/// inspection.
FolderPlan planFolder(const std::filesystem::path& folder, const InventoryTaken& inventory,
                      const Policy& policy, const std::vector<EarlierFlash>& earlier, bool obeysList);

/// Takes the inventory of a run in the phase kPlanning and plans its update. What the
/// update needs is left in the run's folder and record: with our own drive library a copy of the folder that
/// lists what is to be flashed. `earlier` and `obeysList` are those of `planFolder`.
///
/// The answer is that of the plan. Nothing is to be flashed when no drive is kFlash. Throws std::exception
/// when something could not be written.
Verdict prepare(Run& run, const Policy& policy, const std::vector<EarlierFlash>& earlier, bool obeysList);

/// A refusal of the run as a whole.
Verdict refusal(std::vector<std::string> reasons);

/// How many drives of a plan are to be flashed.
std::size_t drivesToFlash(const Verdict& plan);

/// Whether the verdict of a run says something about drives that took firmware and still count: the run has
/// flashed, in this boot or as an earlier part of the run that is planned.
bool mayTellOfFlashes(const Run& run, bool isThisRun);

/// The drives of such a run that took firmware, by its verdict. Nothing for other runs.
std::vector<EarlierFlash> flashesOf(const Run& run, const Verdict& verdict, bool isThisRun);

/// What runs have recorded of drives that took firmware: those that are staged since this boot, and in the
/// run of that name those that were updated in any boot, or that the drive library called a success in this
/// one.
std::vector<EarlierFlash> earlierFlashes(const RunList& runs, const std::string& run);

}  // namespace tool
