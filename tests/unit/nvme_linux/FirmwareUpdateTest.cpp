#include <filesystem>

#include "FirmwareUpdateFixture.h"

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

using FirmwareUpdateTest = FirmwareUpdateFixture;

TEST_F(FirmwareUpdateTest, CommitsASmallImageToTheEmptySlotForTheNextReset) {
  confirms(downloaded().commits(2));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_THAT(m_host.reports(),
              ElementsAre("notice: NVMe drive 0000:04:00.0: committed to slot 2, for the next "
                          "reset; it runs OLD_REV"));
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_F(FirmwareUpdateTest, ASecondRunIsTurnedAwayWithBusy) {
  m_drive.opens().locks(-EBUSY);
  EXPECT_EQ(update(m_tiny), -EBUSY);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: another run is updating this drive");
}

TEST_F(FirmwareUpdateTest, ADriveThatCannotBeOpenedOrLockedKeepsItsErrorNumber) {
  m_drive.opens(-EACCES);
  EXPECT_EQ(update(m_tiny), -EACCES);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: nvme0 cannot be opened: Permission denied (errno 13)");
  m_drive.opens().locks(-ENOLCK);
  EXPECT_EQ(update(m_tiny), -ENOLCK);
}

TEST_F(FirmwareUpdateTest, ADriveThatGotTheNameOfTheOneThatWasFoundIsNotTouched) {
  for (const auto& [address, ids] :
       {std::pair{"0000:05:00.0", "144d:a801:1028:1fd9"}, std::pair{"0000:04:00.0", "144d:a802:1028:1fd9"},
        std::pair{"0000:04:00.0", "144d:a801:1028:1fda"}, std::pair{"", ""}}) {
    m_host.addController("nvme0", "0000:04:00.0");
    m_drive.opens().locks().whenLocked(
        [this, where = address, what = ids] { m_host.addController("nvme0", where, what); });
    EXPECT_EQ(update(m_tiny), -ENODEV) << address << ids;
    EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: nvme0 is another drive by now");
  }
}

TEST_F(FirmwareUpdateTest, ANodeOfAnotherDriveIsNotTouched) {
  m_host.writeAttribute("nvme0", "dev", "240:1");
  m_drive.opens();
  EXPECT_EQ(update(m_tiny), -ENODEV);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: nvme0 is the node of another drive");
  m_host.writeAttribute("nvme0", "dev", "240:0");
  confirms(downloaded().commits(2));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

TEST_F(FirmwareUpdateTest, ADriveWithoutFirmwareCommandsIsLeftAlone) {
  m_drive.opens().locks().identifies({.optionalCommands = 0xFFFB});
  EXPECT_EQ(update(m_tiny), -EOPNOTSUPP);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: it takes no firmware");
}

TEST_F(FirmwareUpdateTest, WaitsForAnUpdateThatIsInProgress) {
  ready({}, {.activeInfo = 0x09})
      .readsSlots({.activeInfo = 0x09})
      .readsSlots()
      .downloads(0, m_tiny)
      .readsSlots();
  confirms(m_drive.commits(2));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_EQ(m_host.slept(), 1s);
}

TEST_F(FirmwareUpdateTest, DoesNotWaitForeverForAnUpdateThatIsInProgress) {
  ready({}, {.activeInfo = 0x09});
  for (int i = 0; i < 60; ++i) m_drive.readsSlots({.activeInfo = 0x09});
  EXPECT_EQ(update(m_tiny), -EALREADY);
  EXPECT_EQ(m_host.slept(), 30s);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: drive still reports an update in progress; refusing");
}

TEST_F(FirmwareUpdateTest, WaitsAsLongAsTheDriveMayTakeToActivate) {
  m_drive.opens().locks().identifies({.activation = 900}).within(90s);
  for (int i = 0; i <= 180; ++i) m_drive.readsSlots({.activeInfo = 0x09});
  EXPECT_EQ(update(m_tiny), -EALREADY);
  EXPECT_EQ(m_host.slept(), 90s);
}

TEST_F(FirmwareUpdateTest, NeverWaitsLongerThanFiveMinutes) {
  m_drive.opens().locks().identifies({.activation = 0xFFFF}).within(6553500ms);
  for (int i = 0; i <= 600; ++i) m_drive.readsSlots({.activeInfo = 0x09});
  EXPECT_EQ(update(m_tiny), -EALREADY);
  EXPECT_EQ(m_host.slept(), 300s);
}

TEST_F(FirmwareUpdateTest, ADriveThatCountsItsOwnDownloadAsAnUpdateGetsItsCommit) {
  ready().downloads(0, m_tiny);
  for (int i = 0; i <= 20; ++i) m_drive.readsSlots({.activeInfo = 0x09});
  confirms(m_drive.commits(2));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_EQ(m_host.slept(), 10s);
  EXPECT_EQ(
      m_host.reports().front(),
      "warning: NVMe drive 0000:04:00.0: drive still reports an update in progress; committing all the same");
}

TEST_F(FirmwareUpdateTest, FirmwareCommandsMayTakeAsLongAsActivationButNeverLessThanTheKernelAllows) {
  struct {
    std::uint16_t activation;
    const char* host;
    std::chrono::milliseconds timeout;
  } const cases[] = {{0, "60", 60s},       {599, "60", 60s},
                     {601, "60", 60100ms}, {0xFFFF, "60", 6553500ms},
                     {601, "90", 90s},     {0, "4294968", 4294967295ms}};
  for (const auto& [activation, host, timeout] : cases) {
    SCOPED_TRACE(timeout.count());
    m_host.setAdminTimeout(host);
    m_drive.opens().locks().identifies({.activation = activation}).within(timeout).readsSlots();
    confirms(m_drive.downloads(0, m_tiny).readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(m_tiny), kWaitsForReset);
  }
}

TEST_F(FirmwareUpdateTest, ADriveWhoseOneSlotIsReadOnlyIsRefusedBeforeTheDownload) {
  ready({.firmwareUpdates = 1 << 1 | 1});
  EXPECT_EQ(update(m_tiny), -EROFS);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: none of its firmware slots can be written");
}

TEST_F(FirmwareUpdateTest, CommitsToTheSlotThatTheDriveLeavesOpen) {
  const SlotLog log{.activeInfo = 0x02, .revisions = {"FACTORY ", "OLD_REV ", "OLDER   "}};
  ready({.firmwareUpdates = 3 << 1 | 1}, log).downloads(0, m_tiny).readsSlots(log).commits(3);
  m_drive.readsSlots({.activeInfo = 0x32, .revisions = {"FACTORY ", "OLD_REV ", "NEW_REV "}}).identifies();
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

TEST_F(FirmwareUpdateTest, ADriveThatKeepsItsRunningSlotToItselfChooses) {
  const SlotLog log{.activeInfo = 0x00, .revisions = {}};
  downloaded(log).commits(0).readsSlots(log).identifies({.revision = "NEW_REV "});
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "notice: NVMe drive 0000:04:00.0: committed to a slot of its own choice; it ran OLD_REV and runs "
            "NEW_REV");
}

TEST_F(FirmwareUpdateTest, OtherBitsBesideSlotNumbersMeanNothing) {
  const SlotLog log{.activeInfo = 0x81, .revisions = {"OLD_REV ", "OLDER   ", "OLDEST  "}};
  ready({.firmwareUpdates = 0xF0 | 3 << 1}, log).downloads(0, m_tiny).readsSlots(log).commits(2);
  m_drive.readsSlots({.activeInfo = 0xA1}).identifies();
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_THAT(lastReport(), HasSubstr("committed to slot 2, for the next reset"));
}

TEST_F(FirmwareUpdateTest, ADriveThatStillActivatesAfterTheCommitIsUnderstood) {
  downloaded().commits(2).readsSlots({.activeInfo = 0x0A}).identifies();
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(), "notice: NVMe drive 0000:04:00.0: committed to slot 2; it runs OLD_REV");
}

TEST_F(FirmwareUpdateTest, ADriveThatIsBeingResetIsWaitedForAsLongAsCapToSays) {
  m_host.setCapabilities("nvme0", 10ULL << 24 | 0xFFFFFFFF00FFFFFFULL);
  for (const char* const state : {"resetting", "connecting", "new", "live"}) {
    SCOPED_TRACE(state);
    m_host.writeAttribute("nvme0", "state", state);
    const auto before = m_host.slept();
    for (int i = 0; i < 10; ++i) m_drive.opens(-EAGAIN);
    confirms(downloaded().commits(2)).within(0ms);
    EXPECT_EQ(update(m_tiny), kWaitsForReset);
    EXPECT_EQ(m_host.slept() - before, 5s);
  }
  for (int i = 0; i <= 10; ++i) m_drive.opens(-EAGAIN);
  EXPECT_EQ(update(m_tiny), -EAGAIN);
}

TEST_F(FirmwareUpdateTest, ADriveThatIsBeingResetIsWaitedForAsLongAsAnyWhereCapCannotBeRead) {
  for (int i = 0; i <= 255; ++i) m_drive.opens(-EAGAIN);
  EXPECT_EQ(update(m_tiny), -EAGAIN);
  EXPECT_EQ(m_host.slept(), 127500ms);
}

TEST_F(FirmwareUpdateTest, ADriveThatTheKernelHasGivenUpIsNotWaitedFor) {
  for (const char* const state : {"dead", "deleting", "deleting (no IO)"}) {
    m_host.writeAttribute("nvme0", "state", state);
    m_drive.opens(-EAGAIN);
    EXPECT_EQ(update(m_tiny), -EAGAIN) << state;
  }
  EXPECT_EQ(m_host.slept(), 0ms);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: nvme0 cannot be opened: Resource temporarily unavailable (errno "
            "11); its state is deleting (no IO)");
}

TEST_F(FirmwareUpdateTest, AStatusOfACommitThatADownloadReturnsIsNoSuccess) {
  ready().downloads(0, m_tiny, 0x410B);
  EXPECT_EQ(update(m_tiny), -EPROTO);
}

TEST_F(FirmwareUpdateTest, WhatNeverReachedTheDriveIsANegativeErrorNumber) {
  m_drive.opens().locks().identifies({}, -ENODEV);
  EXPECT_EQ(update(m_tiny), -ENODEV);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: Identify Controller: No such device (errno 19)");
}

TEST_F(FirmwareUpdateTest, ADriveThatVanishesFails) {
  ready().downloads(0, m_tiny, -ENODEV).readsSlots({}, -ENODEV).within(0ms);
  EXPECT_EQ(update(m_tiny), -ENODEV);
  ready().downloads(0, m_tiny).readsSlots({}, -ENODEV).within(0ms);
  EXPECT_EQ(update(m_tiny), -ENODEV);
  downloaded().commits(2, -ENODEV).readsSlots({}, -ENODEV).readsSlots({}, -ENODEV);
  EXPECT_EQ(update(m_tiny), -ENODEV);
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_F(FirmwareUpdateTest, SlotsThatCannotBeReadEndTheUpdate) {
  m_drive.opens().locks().identifies().within(kMinute).readsSlots({}, 0x4109);
  EXPECT_EQ(update(m_tiny), 0x109);
}

TEST_F(FirmwareUpdateTest, ABitThatIsSetWhileFirmwareIsStagedCostsNoWait) {
  const SlotLog staged{.activeInfo = 0x29, .revisions = {"OLD_REV ", "MID_REV "}};
  ready({}, staged).downloads(0, m_tiny).readsSlots(staged).commits(2);
  m_drive.readsSlots({.activeInfo = 0x29, .revisions = {"OLD_REV ", "NEW_REV "}}).identifies();
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_F(FirmwareUpdateTest, NorDoesItWhereTheOneSlotIsStaged) {
  const SlotLog staged{.activeInfo = 0x19, .revisions = {"MID_REV "}};
  const ScriptedIdentity oneSlot{.firmwareUpdates = 1 << 1};
  ready(oneSlot, staged).downloads(0, m_tiny).readsSlots(staged).commits(1);
  m_drive.readsSlots({.activeInfo = 0x19, .revisions = {"NEW_REV "}}).identifies(oneSlot);
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_F(FirmwareUpdateTest, ADriveThatIdentifiesItselfAsAnotherIsRefused) {
  for (const auto& [attribute, text] : {std::pair{"serial", "SN-0002"}, std::pair{"model", "Model B"}}) {
    m_host.addController("nvme0", "0000:04:00.0");
    m_host.writeAttribute("nvme0", "serial", "SN-0001");
    m_host.writeAttribute("nvme0", "model", "Model A");
    m_host.writeAttribute("nvme0", attribute, text);
    m_drive.opens().locks().identifies();
    EXPECT_EQ(update(m_tiny, {describeController(m_host, "nvme0")}), -ENODEV);
    EXPECT_EQ(lastReport(),
              "err: NVMe drive 0000:04:00.0: identifies itself as another drive than the kernel "
              "found; refusing");
  }
}

TEST_F(FirmwareUpdateTest, ADriveOfTheSameModelInItsPlaceIsRefused) {
  for (const char* const attribute : {"serial", "model", "subsysnqn"}) {
    m_controller = describeController(m_host, "nvme0");
    m_drive.opens().locks().whenLocked([&] { m_host.writeAttribute("nvme0", attribute, "OTHER"); });
    EXPECT_EQ(update(m_tiny), -ENODEV) << attribute;
    EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: nvme0 is another drive by now");
  }
}

TEST_F(FirmwareUpdateTest, ADriveWithoutADeviceNumberIsRefused) {
  m_host.removeAttribute("nvme0", "dev");
  m_drive.opens();
  EXPECT_EQ(update(m_tiny), -ENODEV);
}

TEST_F(FirmwareUpdateTest, ARevisionThatThePackageDoesNotStartFromIsRefused) {
  m_supported = SupportedDrives(std::set<SupportedModel>{{kIds, std::nullopt, "OTHER"}});
  m_drive.opens().locks().identifies();
  EXPECT_EQ(update(m_tiny), -EPERM);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: it runs OLD_REV, from which package.xml allows no update");
}

TEST_F(FirmwareUpdateTest, WhatUsesTheDriveIsReportedBeforeItIsFlashed) {
  m_host.writeSystemFile("sys/class/nvme/nvme0/nvme0n1/nsid", "1\n");
  m_host.writeSystemFile("sys/class/block/nvme0n1/dev", "259:0\n");
  m_host.writeSystemFile("proc/self/mountinfo", "20 1 259:0 / /data rw - ext4 /dev/nvme0n1 rw\n");
  confirms(downloaded().commits(2));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_EQ(m_host.reports().front(), "notice: NVMe drive 0000:04:00.0: in use: nvme0n1: mounted on /data");
}

}  // namespace

}  // namespace nvme_linux
