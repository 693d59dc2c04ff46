// A drive with two controllers, nvme0 at 0000:04:00.0 and nvme1 at 0000:05:00.0.

#include "DriveLibrary.h"
#include "FirmwareUpdateFixture.h"

namespace nvme_linux {

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;

class DualPortTest : public ::testing::Test {
 protected:
  DualPortTest() {
    writeFile(m_folder / "package.xml", R"(<SoftwareComponent><SupportedDevices><Device componentID="1">
      <PCIInfo vendorID="144d" deviceID="a801" subVendorID="1028" subDeviceID="1fd9"/>
      </Device></SupportedDevices></SoftwareComponent>)");
    for (const auto& [name, address] :
         {std::pair{"nvme0", "0000:04:00.0"}, std::pair{"nvme1", "0000:05:00.0"}}) {
      m_host.addController(name, address);
      m_host.writeAttribute(name, "serial", "SN-0001");
      m_host.writeAttribute(name, "model", "Model A");
      m_host.writeAttribute(name, "subsysnqn", "nqn.2026-01.test:drive");
    }
  }

  /// The whole update through an open and locked controller.
  void flashes(DriveScript& drive, const ScriptedIdentity& identity = {}) {
    drive.identifies(identity).within(kMinute).readsSlots().downloads(0, m_image).readsSlots().commits(2);
    drive.readsSlots({.activeInfo = 0x21, .revisions = {"OLD_REV ", "NEW_REV "}})
        .identifies(identity)
        .within({});
  }

  int update(std::uint8_t bus) {
    return m_library.updateFirmware({bus, 0, 0}, m_host.payload(m_image)).code();
  }

  WorkingFolder m_folder;
  ScriptedHost m_host;
  DriveLibrary m_library{m_host};
  DriveScript& m_first = m_host.drive("nvme0");
  DriveScript& m_second = m_host.drive("nvme1");
  Bytes m_image = image(8);
};

TEST_F(DualPortTest, IsFlashedOnceAndBothGetTheResult) {
  flashes(m_first.opens().locks());
  m_second.opens().locks();
  EXPECT_EQ(update(4), 267);
  EXPECT_EQ(update(5), 267);
  EXPECT_EQ(
      m_host.reports().back(),
      "notice: NVMe drive 0000:05:00.0: the same drive as at 0000:04:00.0, which was updated already; the "
      "result is the same");
}

TEST_F(DualPortTest, TwoDrivesWhosePortsAlternateAreFlashedOnceEach) {
  for (const auto& [name, address] :
       {std::pair{"nvme2", "0000:06:00.0"}, std::pair{"nvme3", "0000:07:00.0"}}) {
    m_host.addController(name, address);
    m_host.writeAttribute(name, "serial", "SN-0002");
    m_host.writeAttribute(name, "model", "Model A");
    m_host.writeAttribute(name, "subsysnqn", "nqn.2026-01.test:other");
  }
  // By address: first port of the one, first of the other, second of the one, second of the other.
  m_host.writeAttribute("nvme1", "address", "0000:07:00.0");
  m_host.writeAttribute("nvme3", "address", "0000:08:00.0");
  flashes(m_first.opens().locks());
  m_second.opens().locks();
  EXPECT_EQ(update(4), 267);
  flashes(m_host.drive("nvme2").opens().locks(), {.serial = "SN-0002             "});
  m_host.drive("nvme3").opens().locks();
  EXPECT_EQ(update(6), 267);
  EXPECT_EQ(update(7), 267);
  EXPECT_EQ(update(8), 267);
}

TEST_F(DualPortTest, AFailureIsSharedToo) {
  m_first.opens().locks().identifies({.optionalCommands = 0});
  m_second.opens().locks();
  EXPECT_EQ(update(4), -EOPNOTSUPP);
  EXPECT_EQ(update(5), -EOPNOTSUPP);
}

TEST_F(DualPortTest, IsFlashedAgainWhenAskedAgain) {
  for (const std::uint8_t bus : {std::uint8_t{4}, std::uint8_t{4}}) {
    flashes(m_first.opens().locks());
    m_second.opens().locks();
    EXPECT_EQ(update(bus), 267);
  }
  EXPECT_EQ(update(5), 267);
  flashes(m_second.opens().locks());
  m_first.opens().locks();
  EXPECT_EQ(update(5), 267) << "the result was handed out before";
}

TEST_F(DualPortTest, AnotherImageIsAnotherUpdate) {
  flashes(m_first.opens().locks());
  m_second.opens().locks();
  EXPECT_EQ(update(4), 267);
  m_image = image(12);
  flashes(m_second.opens().locks());
  m_first.opens().locks();
  EXPECT_EQ(update(5), 267);
}

TEST_F(DualPortTest, EitherPortIsLockedByEitherRun) {
  m_first.opens().locks(-EBUSY);
  m_second.opens();
  EXPECT_EQ(update(5), -EBUSY);
  m_first.opens().locks();
  m_second.opens().locks(-EBUSY);
  EXPECT_EQ(m_library.updateFirmware({4, 0, 0}, m_host.payload(image(16))).code(), -EBUSY);
}

TEST_F(DualPortTest, IsFlashedThroughThePortThatAnswers) {
  for (const int error : {-EAGAIN, -ENOENT, -EACCES}) {
    m_first.opens(error);
    flashes(m_second.opens().locks());
    EXPECT_EQ(update(4), 267);
    EXPECT_EQ(update(5), 267);
  }
  m_first.opens().locks().identifies({}, -EIO);
  flashes(m_second.opens().locks());
  EXPECT_EQ(update(4), 267);
  EXPECT_THAT(m_host.reports(), Contains("notice: NVMe drive 0000:04:00.0: does not answer; updating through "
                                         "0000:05:00.0"));
}

TEST_F(DualPortTest, IsWaitedForOnlyWhenNoPortIsLeft) {
  m_first.opens(-EAGAIN).opens(-EAGAIN);
  m_second.opens(-ENOENT);
  flashes(m_first.opens().locks());
  EXPECT_EQ(update(4), 267);
  EXPECT_EQ(m_host.slept(), std::chrono::milliseconds(500));
}

TEST_F(DualPortTest, APortThatBecameAnotherDriveStopsTheUpdate) {
  m_first.opens().locks();
  m_second.opens().locks().whenLocked([this] { m_host.writeAttribute("nvme1", "serial", "SN-0002"); });
  EXPECT_EQ(update(4), -ENODEV);
}

TEST_F(DualPortTest, DrivesOfOneModelAreNotOneDrive) {
  m_host.writeAttribute("nvme1", "serial", "SN-0002");
  m_host.writeAttribute("nvme1", "subsysnqn", "nqn.2026-01.test:other");
  flashes(m_first.opens().locks());
  EXPECT_EQ(update(4), 267);
  m_second.opens(-EACCES);
  EXPECT_EQ(update(5), -EACCES);
}

TEST_F(DualPortTest, WhatTheDiscoveryFoundIsWhatIsFlashed) {
  m_first.opens().identifies();
  m_second.opens().identifies();
  std::uint32_t count = 0;
  NVMeDriveRecord** drives = nullptr;
  EXPECT_TRUE(m_library.discover(count, drives).isSuccess());
  EXPECT_EQ(count, 2U);
  m_host.writeAttribute("nvme0", "serial", "SN-0002");
  NVMeDriveInfo info{};
  EXPECT_EQ(m_library.driveInfo({4, 0, 0}, info).code(), -ENODEV);
  EXPECT_EQ(update(4), -ENODEV);
  EXPECT_THAT(m_host.reports().back(), HasSubstr("another drive was found at this address before; refusing"));
}

}  // namespace

}  // namespace nvme_linux
