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

  WorkingFolder m_folder;
  ScriptedHost m_host;
};

TEST_F(SupportedDrivesTest, NoneWithoutAPackage) {
  EXPECT_THAT(supportedDrives(m_host), IsEmpty());
  EXPECT_THAT(
      m_host.reports(),
      ElementsAre(
          "warning: NVMe drive library: package.xml is missing from the working directory, so that no drive is supported"));
}

TEST_F(SupportedDrivesTest, NoneFromAPackageThatDoesNotParse) {
  writeFile(m_folder / "package.xml", "<SoftwareComponent>");
  EXPECT_THAT(supportedDrives(m_host), IsEmpty());
  EXPECT_THAT(
      m_host.reports(),
      ElementsAre(
          "warning: NVMe drive library: package.xml cannot be parsed, so that no drive is supported"));
}

TEST_F(SupportedDrivesTest, NoneFromAPackageThatNamesNone) {
  package("");
  EXPECT_THAT(supportedDrives(m_host), IsEmpty());
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
  EXPECT_THAT(supportedDrives(m_host),
              ElementsAre(PciIds{0x144D, 0x0A54, 0x0001, 0x0000}, PciIds{0x144D, 0x0A55, 0x0001, 0xFFFF},
                          PciIds{0x8086, 0x5845, 0x0004, 0x1100}));
  EXPECT_THAT(m_host.reports(), IsEmpty());
}

TEST_F(SupportedDrivesTest, AnEntryKeepsWhatItDoesNotSupplyFromTheOneBefore) {
  package(
      R"(<Device componentID="1"><PCIInfo vendorID="144d" deviceID="a801" subVendorID="1028" subDeviceID="1fd9"/>
      <pciinfo deviceID="a802"/></Device>)");
  EXPECT_THAT(supportedDrives(m_host),
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
    EXPECT_THAT(supportedDrives(m_host), IsEmpty()) << ids;
  }
}

TEST_F(SupportedDrivesTest, LeavesTheParserOfTheProcessAsItWas) {
  package(R"(<Device componentID="1"/>)");
  const int before = xmlKeepBlanksDefault(1);
  supportedDrives(m_host);
  EXPECT_EQ(xmlKeepBlanksDefault(before), 1);
}

}  // namespace

}  // namespace nvme_linux
