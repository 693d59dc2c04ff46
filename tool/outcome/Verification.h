// What became of each drive, told from the documents and the log that a run of nvmepcissd left.

#pragma once

#include <optional>
#include <string>

#include "DebugLog.h"
#include "Document.h"
#include "Verdict.h"

namespace tool {

/// What there is to go by. A null pointer stands for what is missing or could not be read. Nothing is kept
/// beyond the call.
struct UpdateEvidence {
  const Document* before = nullptr;  ///< inventory
  const Document* update = nullptr;
  const Document* after = nullptr;      ///< inventory; only this one shows what a drive runs
  const LoggedRun* log = nullptr;       ///< of the update
  std::optional<std::string> wanted{};  ///< without padding
};

/// Puts the evidence together, in time linear in the number of drives but for sorting. The log names every
/// drive and its answer, so it leads where it fits the update document; else the order of discovery and
/// serial numbers tell who failed. What stays ambiguous is kUndecided, with the reason.
Verdict verify(const UpdateEvidence& evidence);

}  // namespace tool
