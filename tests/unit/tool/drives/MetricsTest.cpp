#include "Metrics.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "TestSupport.h"

namespace tool {

namespace {

DriveFacts fullDrive() {
  return {.controller = "nvme0",
          .address = "0000:01:00.0",
          .serial = "S1",
          .model = "MODEL A",
          .revision = "R1",
          .slots = DriveSlots{.revisions = {"R1", "R2"}, .running = 1, .next = 2},
          .criticalWarning = 0};
}

TEST(Metrics, TellEverythingOfADrive) {
  EXPECT_EQ(metricsText({fullDrive()}, 1, std::nullopt),
            R"(# HELP nvmepcissd_drives Number of NVMe PCIe controllers that the kernel knows.
# TYPE nvmepcissd_drives gauge
nvmepcissd_drives 1
# HELP nvmepcissd_drive_info 1 for each controller, with what its drive is and the firmware revision that it runs.
# TYPE nvmepcissd_drive_info gauge
nvmepcissd_drive_info{name="nvme0",serial="S1",address="0000:01:00.0",model="MODEL A",revision="R1"} 1
# HELP nvmepcissd_drive_healthy 1 for a drive without a critical warning, else 0.
# TYPE nvmepcissd_drive_healthy gauge
nvmepcissd_drive_healthy{name="nvme0",serial="S1"} 1
# HELP nvmepcissd_drive_critical_warning Bits of the critical warning in the drive's SMART log.
# TYPE nvmepcissd_drive_critical_warning gauge
nvmepcissd_drive_critical_warning{name="nvme0",serial="S1"} 0
# HELP nvmepcissd_drive_staged 1 for a drive with firmware that waits for a reset, else 0.
# TYPE nvmepcissd_drive_staged gauge
nvmepcissd_drive_staged{name="nvme0",serial="S1",staged="R2"} 1
# HELP nvmepcissd_drives_awaiting_reset Number of drives with firmware that waits for a reset.
# TYPE nvmepcissd_drives_awaiting_reset gauge
nvmepcissd_drives_awaiting_reset 1
# EOF
)");
}

TEST(Metrics, SayNothingThatIsNotKnown) {
  const std::string text = metricsText({{.controller = "nvme0"}}, 0, std::nullopt);
  EXPECT_NE(text.find("nvmepcissd_drive_info{name=\"nvme0\""), std::string::npos);
  EXPECT_EQ(text.find("nvmepcissd_drive_healthy{"), std::string::npos);
  EXPECT_EQ(text.find("nvmepcissd_drive_critical_warning{"), std::string::npos);
  EXPECT_EQ(text.find("nvmepcissd_drive_staged{"), std::string::npos);
}

LastRun fullRun() {
  return {.name = "one",
          .kind = "update",
          .outcome = "failed",
          .status = 1,
          .began = 1769860800,
          .ended = 1769860900,
          .drives = {{"failed", 1}, {"updated", 2}}};
}

TEST(Metrics, TellOfTheLastRun) {
  const std::string text = metricsText({}, 0, fullRun());
  for (const char* const sample :
       {"nvmepcissd_last_run_info{run=\"one\",kind=\"update\",outcome=\"failed\"} 1\n",
        "nvmepcissd_last_run_status 1\n", "nvmepcissd_last_run_start_timestamp_seconds 1769860800\n",
        "nvmepcissd_last_run_end_timestamp_seconds 1769860900\n",
        "nvmepcissd_last_run_drives{state=\"failed\"} 1\n",
        "nvmepcissd_last_run_drives{state=\"updated\"} 2\n"})
    EXPECT_NE(text.find(sample), std::string::npos) << sample << text;
  LastRun going = fullRun();
  going.ended.reset();
  EXPECT_EQ(metricsText({}, 0, going).find("end_timestamp"), std::string::npos);
}

TEST(Metrics, ShowACriticalWarning) {
  DriveFacts drive = fullDrive();
  drive.criticalWarning = 5;
  const std::string text = metricsText({drive}, 0, std::nullopt);
  EXPECT_NE(text.find("nvmepcissd_drive_healthy{name=\"nvme0\",serial=\"S1\"} 0\n"), std::string::npos)
      << text;
  EXPECT_NE(text.find("nvmepcissd_drive_critical_warning{name=\"nvme0\",serial=\"S1\"} 5\n"),
            std::string::npos);
}

/// Drives and a run whose names hold what either format might stumble over.
std::string oddMetrics() {
  DriveFacts odd = fullDrive();
  odd.controller = "nvme1";
  odd.serial = "a\"b\\c\n{}\xFF\x1b,=#";
  odd.model = "\xE2\x80\xAE \xC3\xA9 # EOF";
  return metricsText({fullDrive(), odd, {.controller = "nvme2"}}, 1, fullRun());
}

/// The format of the exporter itself is checked on this file, by the packaging tests with promtool.
TEST(Metrics, EscapeWhateverTheDrivesSay) {
  EXPECT_EQ(oddMetrics(), readFile(std::filesystem::path(TEST_DATA_DIRECTORY) / "metrics.prom"));
}

TEST(Metrics, AreAcceptedByAnOpenMetricsParser) {
  const ScratchFolder folder;
  for (const std::string& text : {metricsText({}, 0, fullRun()), oddMetrics()}) {
    EXPECT_TRUE(text.starts_with(kMetricsStart));
    const std::string file = (folder / "drives.prom").string();
    writeFile(file, text);
    const std::string parse =
        "/usr/bin/python3 -c 'import sys; from prometheus_client.openmetrics.parser import "
        "text_string_to_metric_families as parse; families = list(parse(sys.stdin.read())); "
        "sys.exit(any(one.type != \"gauge\" for one in families) or len(families) != 11)' <" +
        file;
    EXPECT_EQ(std::system(parse.c_str()), 0) << text;
  }
}

}  // namespace

}  // namespace tool
