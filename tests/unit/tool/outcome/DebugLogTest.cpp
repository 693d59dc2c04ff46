#include "DebugLog.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tool::LoggedDrive;
using tool::LoggedFlash;
using tool::LoggedRun;
using tool::parseDebugLog;

std::string line(const std::string& message) {
  return "[2026-09-30T18:47:59] :                                src/NVMeAdapter.cpp:  228: " + message +
         "\n";
}

std::string discovered(const std::string& serial, const std::string& revision) {
  std::string log;
  for (const char* const text :
       {"CDeviceInfo::setPCIInfo() Device id  a801", "CDeviceInfo::setPCIInfo() SubDevice id  1001",
        "CDeviceInfo::setPCIInfo() Vendor id  f101", "CDeviceInfo::setPCIInfo() SubVendor id  f1a0",
        "CNVMeAdapter::setBDFInfo() Bus Number is  A", "CNVMeAdapter::setBDFInfo() Device Number is  \x02"}) {
    log += line(text);
  }
  log += line(std::string("CNVMeAdapter::setBDFInfo() Function Number is  ") + '\0');
  log += line("NVMePCISSD Model Number: SAMPLE MODEL 1") + line("NVMePCISSD Serial Number: " + serial);
  log +=
      revision.empty()
          ? line(
                "ERROR: Failed to get the NVMePCISSD firmware version using m_fncNVMEGetDriveInfo function pointer")
          : line("INFO: Firmware Version of the drive using memory values  " + revision);
  return log + line("Setting the Display name to Marketing name: Sample Drive");
}

const std::string kUpdate = line("Entering CNVMePCISSDManager::Update");
const std::string kFlash = line("Updating the firmware for NVMeDevcice");
const std::string kDone = line("Update firmware done for NVMeDevcice Succesfully");
const std::string kRefused = line("ERROR: Update firmware failed for NVMeDevcice");
const std::string kFlashed = line("Leaving CNVMeAdapter::UpdateNVMeDevices()");
const std::string kEnd = line("Leaving CNVMePCISSDManager::Update");

/// The only run of a log.
LoggedRun onlyRun(const std::string& log) {
  const std::vector<LoggedRun> runs = parseDebugLog(log);
  EXPECT_EQ(runs.size(), 1U);
  return runs.empty() ? LoggedRun{} : runs.front();
}

TEST(DebugLog, TellsADriveWithEverythingThatDiscoveryLogs) {
  const LoggedRun run = onlyRun(kUpdate + discovered("SIM1", "SMP10101") + kEnd);
  EXPECT_TRUE(run.isUpdate);
  EXPECT_TRUE(run.ended);
  ASSERT_EQ(run.drives.size(), 1U);
  const LoggedDrive& drive = run.drives.front();
  EXPECT_EQ(drive.serial, "SIM1");
  EXPECT_EQ(drive.model, "SAMPLE MODEL 1");
  EXPECT_EQ(drive.revision, "SMP10101");
  EXPECT_EQ(drive.name, "Sample Drive");
  EXPECT_EQ(drive.vendor + drive.device + drive.subVendor + drive.subDevice, "f101a801f1a01001");
  EXPECT_EQ(drive.address, "41:02.0");
  EXPECT_EQ(drive.flash, LoggedFlash::kNone);
}

TEST(DebugLog, GivesEachFlashToItsDriveInTheOrderOfDiscovery) {
  const LoggedRun run = onlyRun(kUpdate + discovered("SIM1", "R1") + discovered("SIM2", "R1") +
                                discovered("SIM3", "R1") + kFlash + kDone + kFlash + kRefused +
                                line("ERROR INFO: API return value = 4294967280") + kFlash);
  ASSERT_EQ(run.drives.size(), 3U);
  EXPECT_EQ(run.drives[0].flash, LoggedFlash::kDone);
  EXPECT_EQ(run.drives[1].flash, LoggedFlash::kRefused);
  EXPECT_EQ(run.drives[1].code, -16);
  EXPECT_EQ(run.drives[2].flash, LoggedFlash::kUnended);
  EXPECT_FALSE(run.flashingEnded);
  EXPECT_FALSE(run.ended);
}

TEST(DebugLog, KeepsAFailedDiscoverysCodeFromTheDrives) {
  const LoggedRun run = onlyRun(
      kUpdate + line("ERROR: Samung API NVMEDiscoverDrives failed to collect NVMe PCISSD disks' inventory") +
      line("ERROR INFO: API return value = 5") + kEnd);
  EXPECT_TRUE(run.drives.empty());
  ASSERT_EQ(run.troubles.size(), 1U);
  EXPECT_EQ(run.troubles.front().where, "discovery");
}

TEST(DebugLog, TellsThatThePayloadWasRefused) {
  const LoggedRun run =
      onlyRun(kUpdate + discovered("SIM1", "R1") + line("ERROR: Zero or more than one payload file found") +
              line("Returning from CNVMePCISSDUpdate::Update()") + kEnd);
  EXPECT_TRUE(run.payloadRefused);
  EXPECT_TRUE(run.flashingEnded);
  EXPECT_EQ(run.drives.front().flash, LoggedFlash::kNone);
}

TEST(DebugLog, KnowsADriveWhoseRevisionCannotBeRead) {
  const LoggedRun run = onlyRun(kUpdate + discovered("SIM1", "") + kFlash + kDone + kFlashed + kEnd);
  EXPECT_FALSE(run.drives.front().revision.has_value());
  EXPECT_EQ(run.drives.front().flash, LoggedFlash::kDone);
}

TEST(DebugLog, JoinsAValueThatHoldsALineFeed) {
  const LoggedRun run = onlyRun(kUpdate + discovered("SIM\nONE", "R1") + kEnd);
  EXPECT_EQ(run.drives.front().serial, "SIM\nONE");
  EXPECT_TRUE(run.ended);
}

TEST(DebugLog, TakesALineFeedAsABytesOfAnAddress) {
  const std::string log = kUpdate + line("CDeviceInfo::setPCIInfo() Device id  1") +
                          line("CNVMeAdapter::setBDFInfo() Bus Number is  \n") +
                          line("CNVMeAdapter::setBDFInfo() Device Number is  \x1f") +
                          line("CNVMeAdapter::setBDFInfo() Function Number is  \x07");
  EXPECT_EQ(onlyRun(log).drives.front().address, "0a:1f.7");
}

TEST(DebugLog, SeparatesTheCommandsOfOneProcess) {
  const std::vector<LoggedRun> runs =
      parseDebugLog(line("Entering CNVMePCISSDManager::Inventory") + discovered("SIM1", "R1") +
                    line("Leaving CNVMePCISSDManager::Inventory") + kUpdate + discovered("SIM1", "R1") +
                    kFlash + kDone + kEnd);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_FALSE(runs[0].isUpdate);
  EXPECT_EQ(runs[0].drives.front().flash, LoggedFlash::kNone);
  EXPECT_TRUE(runs[1].isUpdate);
  EXPECT_EQ(runs[1].drives.front().flash, LoggedFlash::kDone);
}

TEST(DebugLog, ReadsWhatIsNoLogAsNoRuns) {
  for (const std::string text :
       {"", "\n\n", "hello", "[2026-01-31T12:00:00] :", "[2026-01-31T12:00:00] : a:b:c"}) {
    EXPECT_TRUE(parseDebugLog(text).empty()) << text;
  }
  EXPECT_TRUE(parseDebugLog(discovered("SIM1", "R1")).empty()) << "drives without a command";
}

TEST(DebugLog, SurvivesEveryCutOffLog) {
  const std::string log = kUpdate + discovered("SIM1", "R1") + kFlash + kRefused +
                          line("ERROR INFO: API return value = 263") + kFlashed + kEnd;
  for (std::size_t size = 0; size < log.size(); ++size) {
    const std::vector<LoggedRun> runs = parseDebugLog(std::string_view(log).substr(0, size));
    for (const LoggedRun& run : runs) EXPECT_FALSE(run.ended) << size;
  }
}

}  // namespace
