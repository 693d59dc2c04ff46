#include "DriveLibrary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "ScriptedHost.h"

namespace nvme_linux {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr const char* kPackage = R"(<SoftwareComponent><SupportedDevices><Device componentID="1">
  <PCIInfo vendorID="144d" deviceID="a801" subVendorID="1028" subDeviceID="1fd9"/>
  <PCIInfo vendorID="8086" deviceID="0a54" subVendorID="1028" subDeviceID="1fd9"/>
  </Device></SupportedDevices></SoftwareComponent>)";

template <std::size_t Width>
std::string textOf(const std::array<char, Width>& field) {
  return {field.data(), field.size()};
}

class DriveLibraryTest : public ::testing::Test {
 protected:
  DriveLibraryTest() { writeFile(m_folder / "package.xml", kPackage); }

  std::vector<const NVMeDriveRecord*> discover() {
    std::uint32_t count = 99;
    NVMeDriveRecord** drives = nullptr;
    EXPECT_EQ(m_library.discover(count, drives).code(), 0);
    return {drives, drives + count};
  }

  std::vector<std::string> serials() {
    std::vector<std::string> serials;
    for (const NVMeDriveRecord* drive : discover()) {
      serials.push_back(textOf(drive->serialNumber));
    }
    return serials;
  }

  WorkingFolder m_folder;
  ScriptedHost m_host;
  DriveLibrary m_library{m_host};
};

TEST_F(DriveLibraryTest, NoDrivesIsASuccess) {
  EXPECT_THAT(discover(), IsEmpty());
}

TEST_F(DriveLibraryTest, ADriveIsDescribedBySysfsAndByItself) {
  m_host.addController("nvme3", "0000:81:1f.7");
  m_host.drive("nvme3").opens().identifies();
  const auto drives = discover();
  ASSERT_EQ(drives.size(), 1U);
  NVMeDriveRecord expected{.subVendorID = 0x1028,
                           .subDeviceID = 0x1FD9,
                           .vendorID = 0x144D,
                           .deviceID = 0xA801,
                           .bus = 0x81,
                           .device = 0x1F,
                           .function = 7,
                           .unread = {},
                           .modelNumber = {},
                           .serialNumber = {}};
  std::memcpy(expected.modelNumber.data(), ScriptedIdentity().model.data(), 40);
  std::memcpy(expected.serialNumber.data(), ScriptedIdentity().serial.data(), 20);
  EXPECT_EQ(std::memcmp(drives[0], &expected, sizeof expected), 0);
}

TEST_F(DriveLibraryTest, ListsDrivesByAddressAndTwinsAsTwoDrives) {
  m_host.addController("nvme0", "0000:05:00.0");
  m_host.addController("nvme1", "0000:04:00.0", "8086:0a54:1028:1fd9");
  m_host.addController("nvme2", "0000:03:00.0");
  for (const char* const name : {"nvme0", "nvme2"}) m_host.drive(name).opens().identifies();
  m_host.drive("nvme1").opens().identifies({.serial = "SN-0002             "});
  EXPECT_THAT(serials(), ElementsAre("SN-0001             ", "SN-0002             ", "SN-0001             "));
}

// Promise: every-drive-is-flashed
TEST_F(DriveLibraryTest, OnlyModelsOfThePackageAreTouched) {
  m_host.addController("nvme0", "0000:04:00.0", "144d:a801:1028:1fda");
  m_host.addController("nvme1", "0000:05:00.0", "144d:a801:1029:1fd9");
  m_host.addController("nvme2", "0000:06:00.0", "144d:a802:1028:1fd9");
  m_host.addController("nvme3", "0000:07:00.0", "144e:a801:1028:1fd9");
  EXPECT_THAT(discover(), IsEmpty());
  EXPECT_EQ(m_host.reports().front(),
            "info: NVMe drive 0000:04:00.0 (nvme0) is left out: package.xml does not name its model");
  NVMeDriveInfo info{};
  for (const std::uint8_t bus : std::initializer_list<std::uint8_t>{4, 5, 6, 7}) {
    EXPECT_EQ(m_library.driveInfo({bus, 0, 0}, info).code(), -ENODEV);
    EXPECT_EQ(m_library.updateFirmware({bus, 0, 0}, m_host.payload(image(4))).code(), -ENODEV);
  }
}

TEST_F(DriveLibraryTest, NothingIsSupportedWithoutAPackage) {
  std::filesystem::remove(m_folder / "package.xml");
  m_host.addController("nvme0", "0000:04:00.0");
  EXPECT_THAT(discover(), IsEmpty());
  EXPECT_EQ(m_library.updateFirmware({4, 0, 0}, m_host.payload(image(4))).code(), -ENODEV);
}

TEST_F(DriveLibraryTest, WhatCannotBeAddressedIsReportedAndNotListed) {
  m_host.addController("nvme0", "0001:04:00.0");
  m_host.addController("nvme1", "0002:04:00.0");
  m_host.addController("nvme2", "0000:05:00.0");
  m_host.addController("nvme3", "0000:05:00.0");
  EXPECT_THAT(discover(), IsEmpty());
  const std::string same = "is left out: another controller has the same PCI address";
  EXPECT_THAT(m_host.reports(),
              ElementsAre("warning: NVMe drive 0000:05:00.0 (nvme2) " + same,
                          "warning: NVMe drive 0000:05:00.0 (nvme3) " + same,
                          "warning: NVMe drive 0001:04:00.0 (nvme0) is left out: the drive at 0002:04:00.0 "
                          "has the same bus, device and function",
                          "warning: NVMe drive 0002:04:00.0 (nvme1) is left out: the drive at 0001:04:00.0 "
                          "has the same bus, device and function"));
  EXPECT_EQ(m_library.updateFirmware({4, 0, 0}, "image").code(), -ENODEV);
  EXPECT_EQ(m_library.updateFirmware({5, 0, 0}, "image").code(), -ENODEV);
}

TEST_F(DriveLibraryTest, ADriveThatDoesNotAnswerIsListedByWhatTheKernelRemembers) {
  m_host.addController("nvme0", "0000:04:00.0");
  m_host.writeAttribute("nvme0", "serial", "SN-SYSFS");
  m_host.writeAttribute("nvme0", "model", std::string(40, 'm') + "cut off");
  m_host.drive("nvme0").opens().identifies({}, -EIO);
  m_host.addController("nvme1", "0000:05:00.0");
  m_host.drive("nvme1").opens(-ENODEV);
  m_host.addController("nvme2", "0000:06:00.0");
  m_host.drive("nvme2").opens().identifies();
  const auto drives = discover();
  ASSERT_EQ(drives.size(), 3U);
  EXPECT_EQ(textOf(drives[0]->serialNumber), "SN-SYSFS            ");
  EXPECT_EQ(textOf(drives[0]->modelNumber), std::string(40, 'm'));
  EXPECT_EQ(textOf(drives[1]->serialNumber), std::string(20, ' '));
  EXPECT_EQ(textOf(drives[2]->serialNumber), "SN-0001             ");
}

TEST_F(DriveLibraryTest, RecordsStayWhateverIsCalledLater) {
  m_host.addController("nvme0", "0000:04:00.0");
  m_host.drive("nvme0").opens().identifies().opens().identifies({.serial = "OTHER               "});
  const auto before = discover();
  const auto after = discover();
  EXPECT_EQ(textOf(before.at(0)->serialNumber), "SN-0001             ");
  EXPECT_EQ(textOf(after.at(0)->serialNumber), "OTHER               ");
}

TEST_F(DriveLibraryTest, TheRevisionIsTheDrivesOwnNotTheKernels) {
  m_host.addController("nvme0", "0000:04:00.0");
  m_host.writeAttribute("nvme0", "firmware_rev", "STALE");
  m_host.drive("nvme0").opens().identifies({.revision = "NEW_REV "});
  NVMeDriveInfo info{};
  EXPECT_EQ(m_library.driveInfo({4, 0, 0}, info).code(), 0);
  EXPECT_EQ(textOf(info.firmwareRevision), "NEW_REV ");
  EXPECT_THAT(info.unread, ::testing::Each(0));
}

TEST_F(DriveLibraryTest, ARevisionThatCannotBeReadLeavesTheBufferAlone) {
  m_host.addController("nvme0", "0000:04:00.0");
  m_host.drive("nvme0").opens().identifies({}, 0x4006).opens(-EACCES);
  NVMeDriveInfo info{};
  info.firmwareRevision.fill('?');
  EXPECT_EQ(m_library.driveInfo({4, 0, 0}, info).code(), 0x006);
  EXPECT_EQ(textOf(info.firmwareRevision), "????????");
  EXPECT_EQ(m_library.driveInfo({4, 0, 0}, info).code(), -EACCES);
  EXPECT_EQ(m_library.driveInfo({4, 0, 1}, info).code(), -ENODEV);
  EXPECT_EQ(m_host.reports().back(), "err: NVMe drive 0000:04:00.1: no supported drive has this address");
  EXPECT_EQ(textOf(info.firmwareRevision), "????????");
}

TEST_F(DriveLibraryTest, AnUpdateReachesTheDriveAtItsAddressAlone) {
  m_host.addController("nvme0", "0000:04:00.0");
  m_host.addController("nvme1", "0000:05:00.0");
  m_host.drive("nvme1").opens().locks().identifies().within(std::chrono::minutes(1)).readsSlots();
  m_host.drive("nvme1").downloads(0, image(8)).readsSlots().commits(2, 0x4110);
  m_host.drive("nvme1").readsSlots({.activeInfo = 0x21}).identifies();
  EXPECT_EQ(m_library.updateFirmware({5, 0, 0}, m_host.payload(image(8))).code(), 267);
  EXPECT_THAT(m_host.reports(), ::testing::Each(HasSubstr("0000:05:00.0")));
}

}  // namespace

}  // namespace nvme_linux
