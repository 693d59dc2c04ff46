// What became of the drives of a run: what `verify` tells of those that were flashed, put together with the
// plan for all others. Works on what was read already; touches no file.

#pragma once

#include <optional>
#include <vector>

#include "DebugLog.h"
#include "Document.h"
#include "Verdict.h"

namespace tool {

/// What a run has left. Nothing for what is missing or cannot be read.
struct RunEvidence {
  std::optional<Document> before{};  ///< the inventory that the plan was made from
  std::optional<Document> update{};
  std::optional<Document> after{};
  std::optional<LoggedRun> log{};

  /// The component was given the drives that were to be flashed, and no others; else it was given all.
  bool isNarrowed = false;
};

/// The drives in the order of the plan, which lists those of `before`. A drive that was not given to the
/// component keeps its state.
Verdict judgeFlash(const Verdict& plan, RunEvidence evidence);

/// What a reset has made of the drives that `wasReset` has true for: those that were staged are updated or
/// stale, those that were unchanged may be updated. Drives with other states stay as they are.
void judgeReset(Verdict& verdict, const Document& inventory, const std::vector<bool>& wasReset);

/// By the slots of each drive: whether firmware waits for a reset. Nothing where its slots are not known.
std::vector<std::optional<bool>> waitingInSlots(const Verdict& verdict);

/// Drives that took the firmware and run the old one are staged where their slots say so.
void askSlots(Verdict& verdict);

}  // namespace tool
