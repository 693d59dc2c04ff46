// How the adapter flashes drives.

#include <limits>

#include "CoreTest.h"

namespace {

constexpr char kUpdating[] = "Updating the firmware for NVMeDevcice";
constexpr char kUpdated[] = "Update firmware done for NVMeDevcice Succesfully";
constexpr char kFailed[] = "ERROR: Update firmware failed for NVMeDevcice";
constexpr char kFailedMessage[] = "ERROR: Failed to Update Firmware";

class NVMeAdapterUpdateTest : public CoreTest {
 protected:
  /// Discovers one drive for each result, with which it answers an update.
  void discoverDrivesWithResults(const std::vector<int>& results) {
    addDrives(results.size());
    for (std::size_t i = 0; i < results.size(); ++i) library.drives[i].updateResult = results[i];
    initializedAdapter().DiscoverNVMeDevices(records.list);
    ASSERT_EQ(records.list.size(), results.size());
    library.calls.clear();
    logged();
  }

  bool update() { return CNVMeAdapter::GetInstance()->UpdateNVMeDevices(records.list, "/some/Payload.bin"); }

  Records records;
};

TEST_F(NVMeAdapterUpdateTest, EmptyListUpdatesNothing) {
  initializedAdapter();
  EXPECT_FALSE(update());
  EXPECT_EQ(logged(), Lines{"0 NVMEPCISSD drives updated succesfully out of 0 NVMEPCISSD Drives"});
  EXPECT_EQ(library.calls, Lines{});
}

TEST_F(NVMeAdapterUpdateTest, ResultsOtherThan0And267MarkTheRecord) {
  struct Case {
    int result;
    const char* shown;  ///< null: the drive took the firmware
  };
  const std::vector<Case> cases{{0, nullptr},
                                {267, nullptr},
                                {1, "1"},
                                {2, "2"},
                                {55, "55"},
                                {266, "266"},
                                {268, "268"},
                                {0x10000 + 267, "65803"},
                                {-1, "4294967295"},
                                {-267, "4294967029"},
                                {std::numeric_limits<int>::max(), "2147483647"},
                                {std::numeric_limits<int>::min(), "2147483648"}};
  discoverDrivesWithResults({0});
  const CDeviceInfo discovered = *records.list[0];
  for (const Case& example : cases) {
    SCOPED_TRACE(example.result);
    library.drives[0].updateResult = example.result;
    *records.list[0] = discovered;
    CDeviceInfo expected = discovered;
    if (example.shown == nullptr) {
      EXPECT_TRUE(update());
      EXPECT_EQ(logged(), (Lines{kUpdating, kUpdated,
                                 "1 NVMEPCISSD drives updated succesfully out of 1 NVMEPCISSD Drives"}));
    } else {
      EXPECT_FALSE(update());
      EXPECT_EQ(logged(),
                (Lines{kUpdating, kFailed, std::string("ERROR INFO: API return value = ") + example.shown,
                       "0 NVMEPCISSD drives updated succesfully out of 1 NVMEPCISSD Drives"}));
      expected.setStatus(1);
      expected.setErrorMsg(kFailedMessage);
    }
    EXPECT_EQ(describe(*records.list[0]), describe(expected));
  }
}

TEST_F(NVMeAdapterUpdateTest, FailedDriveDoesNotStopTheNext) {
  discoverDrivesWithResults({-1, 0});
  EXPECT_TRUE(update());
  EXPECT_EQ(logged(),
            (Lines{kUpdating, kFailed, "ERROR INFO: API return value = 4294967295", kUpdating, kUpdated,
                   "1 NVMEPCISSD drives updated succesfully out of 2 NVMEPCISSD Drives"}));
  EXPECT_EQ(records.list[0]->getStatus(), 1);
  EXPECT_EQ(records.list[0]->getErrorMsg(), kFailedMessage);
  EXPECT_EQ(records.list[1]->getStatus(), 0);
  EXPECT_EQ(records.list[1]->getErrorMsg(), "Success");
}

TEST_F(NVMeAdapterUpdateTest, SuccessBeforeAFailureCounts) {
  discoverDrivesWithResults({0, 9, 9});
  EXPECT_TRUE(update());
  EXPECT_EQ(logged().back(), "1 NVMEPCISSD drives updated succesfully out of 3 NVMEPCISSD Drives");
}

TEST_F(NVMeAdapterUpdateTest, AllRefusalsAreAFailure) {
  discoverDrivesWithResults({1, 2, 3});
  EXPECT_FALSE(update());
  EXPECT_EQ(logged().back(), "0 NVMEPCISSD drives updated succesfully out of 3 NVMEPCISSD Drives");
  for (const CDeviceInfo* record : records.list) EXPECT_EQ(record->getStatus(), 1);
}

// Promise: reset-is-a-success
TEST_F(NVMeAdapterUpdateTest, ResetOwedByEveryDriveLeavesTheRecordsAlone) {
  discoverDrivesWithResults({267, 267, 267});
  const Lines before = describe(records.list);
  EXPECT_TRUE(update());
  EXPECT_EQ(describe(records.list), before);
  EXPECT_EQ(logged().back(), "3 NVMEPCISSD drives updated succesfully out of 3 NVMEPCISSD Drives");
}

TEST_F(NVMeAdapterUpdateTest, EveryDriveGetsThePayloadAtItsAddressInListOrder) {
  discoverDrivesWithResults({0, 1, 0});
  library.drives[2].bus = 255;
  records.list[2]->setBDFInfo(_BDFInfo{255, 0, 0x43});
  update();
  EXPECT_EQ(library.calls, (Lines{"update 1:0.67 /some/Payload.bin", "update 2:0.67 /some/Payload.bin",
                                  "update 255:0.67 /some/Payload.bin"}));
}

// Promise: unreadable-revision-is-flashed
TEST_F(NVMeAdapterUpdateTest, StatusOfDiscoveryNeitherPreventsTheFlashNorIsCleared) {
  discoverDrivesWithResults({0, 1});
  for (CDeviceInfo* record : records.list) {
    record->setStatus(2);
    record->setErrorMsg("of discovery");
  }
  EXPECT_TRUE(update());
  EXPECT_EQ(library.calls.size(), 2U);
  EXPECT_EQ(records.list[0]->getStatus(), 2);
  EXPECT_EQ(records.list[0]->getErrorMsg(), "of discovery");
  EXPECT_EQ(records.list[1]->getStatus(), 1);
  EXPECT_EQ(records.list[1]->getErrorMsg(), kFailedMessage);
}

TEST_F(NVMeAdapterUpdateTest, EmptyPayloadPathIsHandedOverUnchecked) {
  discoverDrivesWithResults({0});
  EXPECT_TRUE(CNVMeAdapter::GetInstance()->UpdateNVMeDevices(records.list, ""));
  EXPECT_EQ(library.calls, Lines{"update 1:0.67 "});
}

}  // namespace
