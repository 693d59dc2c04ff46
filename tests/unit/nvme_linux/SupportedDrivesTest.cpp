#include "SupportedDrives.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <libxml/parser.h>

#include "ScriptedHost.h"
#include "TestSupport.h"

namespace nvme_linux {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SupportedDrivesTest : public ::testing::Test {
 protected:
  void package(const std::string& devices) const {
    writeFile(m_folder / "package.xml",
              "<SoftwareComponent><SupportedDevices>" + devices + "</SupportedDevices></SoftwareComponent>");
  }

  /// The ids of every model that the package names.
  std::set<PciIds> supported() {
    const SupportedDrives drives = SupportedDrives::of(m_host);
    std::set<PciIds> ids;
    for (const SupportedModel& model : drives.models()) ids.insert(model.ids);
    return ids;
  }

  WorkingFolder m_folder;
  ScriptedHost m_host;
};

TEST_F(SupportedDrivesTest, NoneWithoutAPackage) {
  EXPECT_THAT(supported(), IsEmpty());
  EXPECT_THAT(
      m_host.reports(),
      ElementsAre(
          "warning: NVMe drive library: package.xml is missing from the working directory, so that no drive is supported"));
}

TEST_F(SupportedDrivesTest, NoneFromAPackageThatDoesNotParse) {
  writeFile(m_folder / "package.xml", "<SoftwareComponent>");
  EXPECT_THAT(supported(), IsEmpty());
  EXPECT_THAT(
      m_host.reports(),
      ElementsAre(
          "warning: NVMe drive library: package.xml cannot be parsed, so that no drive is supported"));
}

TEST_F(SupportedDrivesTest, NoneFromAPackageThatNamesNone) {
  package("");
  EXPECT_THAT(supported(), IsEmpty());
  EXPECT_THAT(
      m_host.reports(),
      ElementsAre("warning: NVMe drive library: package.xml names no drive, so that no drive is supported"));
}

TEST_F(SupportedDrivesTest, EveryPciInfoOfEveryDeviceIsANumber) {
  package(R"(<Device componentID="1">
      <PCIInfo vendorID="144D" deviceID="a54" subVendorID="1" subDeviceID="0000"/>
      <PCIInfo vendorID="144d" deviceID="0A55" subVendorID="00001" subDeviceID="ffff"/>
      <Display>A</Display></Device>
    <Device componentID="2"><PCIInfo vendorID="0x8086" deviceID="0X5845" subVendorID="0x4" subDeviceID="0x01100"/></Device>)");
  EXPECT_THAT(supported(),
              ElementsAre(PciIds{0x144D, 0x0A54, 0x0001, 0x0000}, PciIds{0x144D, 0x0A55, 0x0001, 0xFFFF},
                          PciIds{0x8086, 0x5845, 0x0004, 0x1100}));
  EXPECT_THAT(m_host.reports(), IsEmpty());
}

TEST_F(SupportedDrivesTest, AnEntryKeepsWhatItDoesNotSupplyFromTheOneBefore) {
  package(
      R"(<Device componentID="1"><PCIInfo vendorID="144d" deviceID="a801" subVendorID="1028" subDeviceID="1fd9"/>
      <pciinfo deviceID="a802"/></Device>)");
  EXPECT_THAT(supported(),
              ElementsAre(PciIds{0x144D, 0xA801, 0x1028, 0x1FD9}, PciIds{0x144D, 0xA802, 0x1028, 0x1FD9}));
}

TEST_F(SupportedDrivesTest, AnEntryThatIsNotFourNumbersNamesNoDrive) {
  for (const std::string ids :
       {R"(vendorID="144d" deviceID="a801" subVendorID="1028" subDeviceID="")",
        R"(vendorID="" deviceID="a801" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="144d" deviceID="a801" subVendorID="1028" subDeviceID=""/><PCIInfo deviceID="a802")",
        R"(vendorID="144d" deviceID="a801" subVendorID="1028")", "",
        R"(vendorID="144g" deviceID="a801" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="1144d" deviceID="a801" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="144d" deviceID="a801x" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="144d" deviceID="xa801" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="144d" deviceID="1xa801" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="144d" deviceID="0x0xa801" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="144d" deviceID="0x" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="144d" deviceID="0x1a801" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID=" 144d" deviceID="a801" subVendorID="1028" subDeviceID="1fd9")",
        R"(vendorID="144d" deviceID="a801" subVendorID="1028" subDeviceID="-1")"}) {
    package("<Device componentID=\"1\"><PCIInfo " + ids + "/></Device>");
    EXPECT_THAT(supported(), IsEmpty()) << ids;
  }
}

TEST_F(SupportedDrivesTest, LeavesTheParserOfTheProcessAsItWas) {
  package(R"(<Device componentID="1"/>)");
  const int before = xmlKeepBlanksDefault(1);
  supported();
  EXPECT_EQ(xmlKeepBlanksDefault(before), 1);
}

const PciController kDrive{
    .name = "nvme0",
    .ids = PciIds{.vendor = 0x144D, .device = 0xA801, .subVendor = 0x1028, .subDevice = 0x1FD9},
    .serial = "SN-0001",
    .model = "Model A"};

constexpr const char* kIds = R"(vendorID="144d" deviceID="a801" subVendorID="1028" subDeviceID="1fd9")";

TEST_F(SupportedDrivesTest, AnEntryMayNameTheModelBesidesTheIds) {
  for (const auto& [keys, isNamed] :
       {std::pair{"", true}, std::pair{R"(model="Model A")", true}, std::pair{R"(model=" Model A ")", true},
        std::pair{R"(model="Model")", false}, std::pair{R"(model="model a")", false},
        std::pair{R"(model="")", false}}) {
    package(std::string("<Device><PCIInfo ") + kIds + " " + keys + "/></Device>");
    EXPECT_EQ(SupportedDrives::of(m_host).names(kDrive), isNamed) << keys;
  }
}

TEST_F(SupportedDrivesTest, TheFurtherKeysAreNotInherited) {
  package(std::string("<Device><PCIInfo ") + kIds + R"( model="B" fromRevision="1"/><PCIInfo/></Device>)");
  const SupportedDrives drives = SupportedDrives::of(m_host);
  EXPECT_TRUE(drives.names(kDrive));
  EXPECT_TRUE(drives.allowsUpdateFrom(kDrive, "2"));
}

TEST_F(SupportedDrivesTest, AnyEntryThatNamesTheDriveMayAllowItsRevision) {
  package(std::string("<Device><PCIInfo ") + kIds + R"( fromRevision="REV 1"/><PCIInfo )" + kIds +
          R"( fromRevision="REV2" model="Model A"/><PCIInfo )" + kIds +
          R"( fromRevision="REV3" model="Model B"/></Device>)");
  const SupportedDrives drives = SupportedDrives::of(m_host);
  EXPECT_TRUE(drives.names(kDrive)) << "whatever it runs";
  for (const char* const revision : {"REV 1", "REV2"}) {
    EXPECT_TRUE(drives.allowsUpdateFrom(kDrive, revision)) << revision;
  }
  for (const char* const revision : {"REV3", "REV", "REV22", ""}) {
    EXPECT_FALSE(drives.allowsUpdateFrom(kDrive, revision)) << revision;
  }
}

using AllowedSerialsTest = SupportedDrivesTest;

TEST_F(AllowedSerialsTest, AllAreAllowedWithoutAList) {
  EXPECT_EQ(allowedSerials(m_host), std::nullopt);
}

TEST_F(AllowedSerialsTest, OneSerialStandsOnALine) {
  writeFile(m_folder / "drives.allow", "SN 1\n\n  SN2\t\r\nSN3");
  EXPECT_EQ(allowedSerials(m_host), (std::set<std::string>{"SN 1", "SN2", "SN3"}));
  writeFile(m_folder / "drives.allow", "");
  EXPECT_EQ(allowedSerials(m_host), std::set<std::string>());
}

TEST_F(AllowedSerialsTest, AListThatCannotBeReadAllowsNone) {
  std::filesystem::create_directory(m_folder / "drives.allow");
  EXPECT_EQ(allowedSerials(m_host), std::set<std::string>());
  EXPECT_THAT(m_host.reports(),
              ElementsAre("err: NVMe drive library: drives.allow cannot be read, so that no drive is "
                          "allowed: Invalid argument (errno 22)"));
  std::filesystem::remove(m_folder / "drives.allow");
  std::filesystem::create_symlink("nowhere", m_folder / "drives.allow");
  EXPECT_EQ(allowedSerials(m_host), std::set<std::string>());
}

}  // namespace

}  // namespace nvme_linux
