// What kept runs come to, without carrying any of them on.

#pragma once

#include <cstddef>
#include <optional>

#include "Metrics.h"
#include "StateFolder.h"
#include "Verdict.h"

namespace tool {

/// The last update; without one the last inventory.
std::optional<Run> lastRun(const RunList& list);

/// The stored verdict. A run that is not done is kRunning while any run goes on on this server, else
/// kUndecided: it has died.
Verdict overviewOf(const Run& run);

/// All runs together, as metrics tell them.
struct RunsOverview {
  std::optional<LastRun> last{};  ///< nothing without a run

  /// How many drives have taken firmware that waits for a reset: by their slots, and for drives whose slots
  /// are not known by what runs of this boot have recorded.
  std::size_t awaitingReset = 0;
};

/// `drives` are those of the kernel. Each verdict is read once, and none of an earlier boot but the last.
RunsOverview overviewOf(const RunList& list, const std::vector<DriveFacts>& drives);

}  // namespace tool
