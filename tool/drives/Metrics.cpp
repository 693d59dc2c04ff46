#include "Metrics.h"

#include <initializer_list>
#include <optional>
#include <utility>

#include "TerminalText.h"

namespace tool {

namespace {

using Labels = std::initializer_list<std::pair<std::string_view, std::string_view>>;

/// A label's value, with what would end it or its line escaped.
std::string escaped(std::string_view value) {
  std::string text;
  for (const char c : forTerminal(value)) {
    if (c == '\\' || c == '"') text += '\\';
    text += c;
  }
  return text;
}

void writeSample(std::string& text, std::string_view name, const DriveFacts& drive, const Labels& more,
                 unsigned int value) {
  text += std::string(name) + "{name=\"" + escaped(drive.controller) + "\",serial=\"" + escaped(drive.serial);
  for (const auto& [label, content] : more) text += "\"," + std::string(label) + "=\"" + escaped(content);
  text += "\"} " + std::to_string(value) + '\n';
}

std::string head(std::string_view name, std::string_view help) {
  const std::string family(name);
  return "# HELP " + family + ' ' + std::string(help) + "\n# TYPE " + family + " gauge\n";
}

/// A family with at most one sample of each drive: `valueOf` gives it, or nothing.
template <typename ValueOf>
void writeFamily(std::string& text, std::string_view name, std::string_view help,
                 const std::vector<DriveFacts>& drives, ValueOf valueOf) {
  text += head(name, help);
  for (const DriveFacts& drive : drives) {
    if (const std::optional<unsigned int> value = valueOf(drive)) writeSample(text, name, drive, {}, *value);
  }
}

void writeLastRun(std::string& text, const LastRun& run) {
  const std::string prefix = "nvmepcissd_last_run_";
  text += head(prefix + "info", "1 for the last run on this server, with how it ended.");
  text += prefix + "info{run=\"" + escaped(run.name) + "\",kind=\"" + run.kind + "\",outcome=\"" +
          run.outcome + "\"} 1\n";
  text += head(prefix + "status", "Exit status of the last run: 0 when every drive is as it should be.");
  text += prefix + "status " + std::to_string(run.status) + '\n';
  const auto writeTime = [&](const char* name, const char* help, const std::optional<std::int64_t>& time) {
    if (!time) return;
    text += head(prefix + name, help);
    text += prefix + name + ' ' + std::to_string(*time) + '\n';
  };
  writeTime("start_timestamp_seconds", "When the last run began.", run.began);
  writeTime("end_timestamp_seconds", "When the last run ended.", run.ended);
  text += head(prefix + "drives", "Number of drives of the last run by state.");
  for (const auto& [state, count] : run.drives) {
    text.append(prefix).append("drives{state=\"").append(state).append("\"} ");
    text.append(std::to_string(count)).append("\n");
  }
}

}  // namespace

std::string metricsText(const std::vector<DriveFacts>& drives, std::size_t awaitingReset,
                        const std::optional<LastRun>& last) {
  constexpr std::string_view kInfo = "nvmepcissd_drive_info";
  constexpr std::string_view kStaged = "nvmepcissd_drive_staged";
  std::string text = head("nvmepcissd_drives", "Number of NVMe PCIe controllers that the kernel knows.");
  text += "nvmepcissd_drives " + std::to_string(drives.size()) + '\n';
  text +=
      head(kInfo, "1 for each controller, with what its drive is and the firmware revision that it runs.");
  for (const DriveFacts& drive : drives) {
    writeSample(text, kInfo, drive,
                {{"address", drive.address}, {"model", drive.model}, {"revision", drive.revision}}, 1);
  }
  writeFamily(text, "nvmepcissd_drive_healthy", "1 for a drive without a critical warning, else 0.", drives,
              [](const DriveFacts& drive) {
                return drive.criticalWarning ? std::optional(*drive.criticalWarning == 0 ? 1U : 0U)
                                             : std::nullopt;
              });
  writeFamily(text, "nvmepcissd_drive_critical_warning",
              "Bits of the critical warning in the drive's SMART log.", drives,
              [](const DriveFacts& drive) { return drive.criticalWarning; });
  text += head(kStaged, "1 for a drive with firmware that waits for a reset, else 0.");
  for (const DriveFacts& drive : drives) {
    if (drive.slots)
      writeSample(text, kStaged, drive, {{"staged", drive.slots->stagedRevision()}},
                  drive.slots->isStaged() ? 1 : 0);
  }
  text += head("nvmepcissd_drives_awaiting_reset", "Number of drives with firmware that waits for a reset.");
  text += "nvmepcissd_drives_awaiting_reset " + std::to_string(awaitingReset) + '\n';
  if (last) writeLastRun(text, *last);
  return text + "# EOF\n";
}

}  // namespace tool
