// This machine's drives as metrics, for the folder of text files that a Prometheus node exporter reads.
//
// The text is valid both as the exporter reads it and as OpenMetrics: gauges only, without time stamps, and
// "# EOF" as its last line. A fact that nothing tells has no sample, so that an alert on it cannot be
// mistaken.

#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "DriveFacts.h"

namespace tool {

/// How every text of `metricsText` begins, and by which a file of this program is known.
inline constexpr std::string_view kMetricsStart = "# HELP nvmepcissd_";

/// The drives, in their order:
///
///   nvmepcissd_drives                  their number
///   nvmepcissd_drive_info              1; labels name ("nvme0"), address, serial, model, revision
///   nvmepcissd_drive_healthy           1 without a critical warning, else 0
///   nvmepcissd_drive_critical_warning  the bits of the critical warning
///   nvmepcissd_drive_staged            1 while firmware waits for a reset, else 0; label staged names it
///
/// All samples of a drive have the labels name and serial. Control characters and bytes that are no UTF-8 are
/// dots.
std::string metricsText(const std::vector<DriveFacts>& drives);

}  // namespace tool
