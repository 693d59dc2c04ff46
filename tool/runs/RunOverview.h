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

/// The last run as metrics tell it. Nothing without a run.
std::optional<LastRun> lastRunOf(const RunList& list);

/// How many drives have taken firmware that waits for a reset: by the slots of `drives`, and for drives whose
/// slots are not known by what runs of this boot have recorded.
std::size_t drivesAwaitingReset(const std::vector<DriveFacts>& drives, const RunList& list);

}  // namespace tool
