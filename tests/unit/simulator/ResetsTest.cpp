// Drives over several runs: firmware that waits for a reset, drives that go, that refuse, and that hang.

#include <cstdint>
#include <filesystem>
#include <future>
#include <nlohmann/json.hpp>
#include <string>

#include "SimulatedDrives.h"
#include "SimulatorTest.h"

using nlohmann::json;
using simulator::DriveAddress;
using simulator::DriveInformation;
using simulator::DriveRecord;
using simulator::SimulatedDrives;

namespace {

constexpr DriveAddress kDrive = {0x3b, 0, 0};
constexpr DriveAddress kOther = {0x3c, 0, 0};

/// Each call is a process of its own: the library reads scenario and state anew.
class DriveLife : public testing::Test {
 protected:
  /// Two drives, of which the first one has `keys` as well.
  static void setDrive(const json& keys, const json& server = json::object()) {
    const json plain = {{"vendorId", "f101"},    {"deviceId", "a801"}, {"subVendorId", "f1a0"},
                        {"subDeviceId", "1001"}, {"model", "SAMPLE"},  {"revision", "OLD"}};
    json first = plain;
    first.update({{"address", "3b:00.0"}, {"serial", "SIM1"}});
    first.update(keys);
    json second = plain;
    second.update({{"address", "3c:00.0"}, {"serial", "SIM2"}});
    json scenario = {{"newRevision", "NEW"}, {"drives", {first, second}}};
    scenario.update(server);
    writeFile("scenario.json", scenario.dump());
  }

  static std::int32_t flash(const DriveAddress& address = kDrive) {
    return SimulatedDrives().update(address, "payload.bin");
  }
  static void reset() { writeFile("nvme-reset", std::to_string(++resets)); }

  /// What the drive runs, without the padding; the result where it does not tell.
  static std::string revision(const DriveAddress& address = kDrive) {
    DriveInformation information = {};
    const std::int32_t result = SimulatedDrives().information(address, information);
    if (result != 0) return std::to_string(result);
    const std::string text(information.revision.begin(), information.revision.end());
    return text.substr(0, text.find(' '));
  }

  /// The serial numbers that discovery lists, without their padding.
  static std::string serials() {
    SimulatedDrives drives;
    std::uint32_t count = 0;
    DriveRecord** list = nullptr;
    if (drives.discover(count, list) != 0) return "";
    std::string text;
    for (std::uint32_t i = 0; i < count; ++i) text += std::string(list[i]->serial.data(), 4);
    return text;
  }

  void SetUp() override { writeFile("payload.bin", "firmware"); }

  static inline int resets = 0;
  WorkingFolder folder;
};

}  // namespace

TEST_F(DriveLife, FirmwareWaitsForAReset) {
  setDrive({{"activation", "reset"}, {"updateResult", 267}});
  EXPECT_EQ(flash(), 267);
  EXPECT_EQ(revision(), "OLD");
  reset();
  EXPECT_EQ(revision(), "NEW");
  EXPECT_EQ(revision(kOther), "OLD");
}

TEST_F(DriveLife, TheLastFlashBeforeAResetCounts) {
  setDrive({{"activation", "reset"}});
  EXPECT_EQ(flash(), 0);
  setDrive({{"activation", "reset"}, {"newRevision", "NEWER"}});
  EXPECT_EQ(flash(), 0);
  EXPECT_EQ(revision(), "OLD");
  reset();
  EXPECT_EQ(revision(), "NEWER");
}

TEST_F(DriveLife, FirmwareMayNeverRun) {
  setDrive({{"activation", "never"}, {"updateResult", 267}});
  EXPECT_EQ(flash(), 267);
  reset();
  EXPECT_EQ(revision(), "OLD");
}

TEST_F(DriveLife, ADriveIsGoneAfterItsFlash) {
  setDrive({{"goneAfter", "flash"}});
  EXPECT_EQ(serials(), "SIM1SIM2");
  EXPECT_EQ(flash(kOther), 0);
  EXPECT_EQ(serials(), "SIM1SIM2");
  EXPECT_EQ(flash(), 0);
  EXPECT_EQ(serials(), "SIM2");
  EXPECT_EQ(revision(), "1002");
  EXPECT_EQ(flash(), 1002);
}

TEST_F(DriveLife, ADriveIsGoneAfterTheReset) {
  for (const char* const activation : {"flash", "reset"}) {
    std::filesystem::remove("nvme-state.json");
    setDrive({{"goneAfter", "reset"}, {"activation", activation}});
    reset();
    EXPECT_EQ(serials(), "SIM1SIM2") << activation;
    EXPECT_EQ(flash(), 0) << activation;
    EXPECT_EQ(serials(), "SIM1SIM2") << activation;
    EXPECT_EQ(revision(), std::string(activation) == "flash" ? "NEW" : "OLD");
    reset();
    EXPECT_EQ(serials(), "SIM2") << activation;
    EXPECT_EQ(revision(), "1002") << activation;
  }
}

TEST_F(DriveLife, ARefusedFlashTakesNoDriveAway) {
  setDrive({{"goneAfter", "flash"}, {"updateResult", 263}});
  EXPECT_EQ(flash(), 263);
  EXPECT_EQ(serials(), "SIM1SIM2");
}

TEST_F(DriveLife, AnUnhealthyDriveRefusesFirmware) {
  setDrive({{"criticalWarning", 4}});
  EXPECT_EQ(flash(), 6);
  EXPECT_EQ(revision(), "OLD");
  EXPECT_EQ(flash(kOther), 0);
}

TEST_F(DriveLife, AFlashHangsUntilItIsReleased) {
  setDrive({{"updateHangs", true}});
  auto result = std::async(std::launch::async, [] { return flash(); });
  EXPECT_EQ(flash(kOther), 0);
  EXPECT_EQ(result.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  EXPECT_EQ(revision(), "OLD");
  writeFile("nvme-release", "");
  EXPECT_EQ(result.get(), 0);
  EXPECT_EQ(revision(), "NEW");
}

TEST_F(DriveLife, DiscoveryHangsUntilItIsReleased) {
  setDrive(json::object(), {{"discoveryHangs", true}});
  auto found = std::async(std::launch::async, [] { return serials(); });
  EXPECT_EQ(found.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  writeFile("nvme-release", "");
  EXPECT_EQ(found.get(), "SIM1SIM2");
}
