// This machine's drives as metrics, for the folder of text files that a Prometheus node exporter reads.
//
// The text is valid both as the exporter reads it and as OpenMetrics: gauges only, without time stamps, and
// "# EOF" as its last line. A fact that nothing tells has no sample, so that an alert on it cannot be
// mistaken.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DriveFacts.h"

namespace tool {

/// How every text of `metricsText` begins, and by which a file of this program is known.
inline constexpr std::string_view kMetricsStart = "# HELP nvmepcissd_";

/// A server's last run. Times are seconds since 1970; nothing where they are not known.
struct LastRun {
  std::string name{};
  std::string kind{};     ///< "inventory" or "update"
  std::string outcome{};  ///< "done", "failed", "undecided", "refused" or "running"
  int status{};           ///< that `result` ends with
  std::optional<std::int64_t> began{};
  std::optional<std::int64_t> ended{};
  std::map<std::string, std::size_t> drives{};  ///< how many there are of each state
};

/// The drives, in their order:
///
///   nvmepcissd_drives                  their number
///   nvmepcissd_drive_info              1; labels name ("nvme0"), address, serial, model, revision
///   nvmepcissd_drive_healthy           1 without a critical warning, else 0
///   nvmepcissd_drive_critical_warning  the bits of the critical warning
///   nvmepcissd_drive_staged            1 while firmware waits for a reset, else 0; label staged names it
///
///   nvmepcissd_drives_awaiting_reset   number of drives with firmware that waits for a reset,
///   `awaitingReset`
///
/// and of the last run, if there is one:
///
///   nvmepcissd_last_run_info           1; labels run, kind and outcome
///   nvmepcissd_last_run_status         exit status
///   nvmepcissd_last_run_start_timestamp_seconds, nvmepcissd_last_run_end_timestamp_seconds
///   nvmepcissd_last_run_drives         number of drives by label state
///
/// All samples of a drive have the labels name and serial. Control characters and bytes that are no UTF-8 are
/// dots.
std::string metricsText(const std::vector<DriveFacts>& drives, std::size_t awaitingReset,
                        const std::optional<LastRun>& last);

}  // namespace tool
