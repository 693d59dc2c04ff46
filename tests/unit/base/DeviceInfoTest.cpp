#include "DeviceInfo.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "TestSupport.h"

using namespace std::string_literals;

namespace {

using Texts = std::vector<std::string>;

Texts textsOf(const SPCIInfo& pci) {
  return {pci.componentID, pci.deviceID, pci.subDeviceID, pci.vendorID, pci.subVendorID, pci.displayName};
}

std::vector<int> numbersOf(const _BDFInfo& bdf) {
  return {bdf.bus, bdf.device, bdf.function};
}

struct TextField {
  const char* name;
  std::string (CDeviceInfo::*get)() const;
  void (CDeviceInfo::*set)(std::string);
};

/// All texts but the file path, whose getter adds to it.
const TextField kTextFields[] = {
    {"ReleaseID", &CDeviceInfo::getReleaseID, &CDeviceInfo::setReleaseID},
    {"ComponentID", &CDeviceInfo::getComponentID, &CDeviceInfo::setComponentID},
    {"ParentComponentID", &CDeviceInfo::getParentComponentID, &CDeviceInfo::setParentComponentID},
    {"ComponentType", &CDeviceInfo::getComponentType, &CDeviceInfo::setComponentType},
    {"DeviceName", &CDeviceInfo::getDeviceName, &CDeviceInfo::setDeviceName},
    {"Version", &CDeviceInfo::getVersion, &CDeviceInfo::setVersion},
    {"ErrorMsg", &CDeviceInfo::getErrorMsg, &CDeviceInfo::setErrorMsg},
    {"Display", &CDeviceInfo::getDisplay, &CDeviceInfo::setDisplay},
    {"Detail", &CDeviceInfo::getDetail, &CDeviceInfo::setDetail},
    {"CurrentVersion", &CDeviceInfo::getCurrentVersion, &CDeviceInfo::setCurrentVersion},
    {"EnumId", &CDeviceInfo::getEnumId, &CDeviceInfo::setEnumId},
};

/// A record with a different value in every member.
CDeviceInfo filledRecord() {
  CDeviceInfo record;
  for (const TextField& field : kTextFields) (record.*field.set)("the "s + field.name);
  record.setPCIInfo({"component", "device", "subDevice", "vendor", "subVendor", "name"});
  record.setDeviceType(CDeviceInfo::DEVICE_TYPE_NONPCI);
  record.setDependencyType(CDeviceInfo::DEPENDENCY_SOFT);
  record.setMessageID(-11);
  record.setStatus(12);
  record.setUpdateStatus(13);
  record.setFilePath("the FilePath");
  record.setRebootRequired(true);
  record.setBDFInfo({14, 15, 16});
  return record;
}

std::string downloadSite() {
  return CDeviceInfo().getFilePath();
}

TEST(DeviceRecord, StartsEmptyAndNotYetReported) {
  CDeviceInfo record;
  for (const TextField& field : kTextFields) EXPECT_EQ((record.*field.get)(), "") << field.name;
  EXPECT_EQ(textsOf(record.getPCIInfo()), Texts(6));
  EXPECT_EQ(record.getDeviceType(), CDeviceInfo::DEVICE_TYPE_UNKNOWN);
  EXPECT_EQ(record.getDependencyType(), CDeviceInfo::DEPENDENCY_HARD);
  EXPECT_EQ(record.getMessageID(), 0);
  EXPECT_EQ(record.getStatus(), -1);
  EXPECT_FALSE(record.getRebootRequired());
  EXPECT_EQ(numbersOf(record.getBDFInfo()), std::vector<int>({0, 0, 0}));
}

TEST(DeviceRecord, ACopyHoldsWhatEachSetterWasGiven) {
  const CDeviceInfo original = filledRecord();
  CDeviceInfo record(original);
  for (const TextField& field : kTextFields) EXPECT_EQ((record.*field.get)(), "the "s + field.name);
  EXPECT_EQ(textsOf(record.getPCIInfo()),
            Texts({"component", "device", "subDevice", "vendor", "subVendor", "name"}));
  EXPECT_EQ(record.getDeviceType(), CDeviceInfo::DEVICE_TYPE_NONPCI);
  EXPECT_EQ(record.getDependencyType(), CDeviceInfo::DEPENDENCY_SOFT);
  EXPECT_EQ(record.getMessageID(), -11);
  EXPECT_EQ(record.getStatus(), 12);
  EXPECT_EQ(record.getUpdateStatus(), 13);
  EXPECT_EQ(record.getFilePath(), downloadSite() + "the FilePath");
  EXPECT_TRUE(record.getRebootRequired());
  EXPECT_EQ(numbersOf(record.getBDFInfo()), std::vector<int>({14, 15, 16}));
}

TEST(DeviceRecord, ACopyIsIndependentOfItsOriginal) {
  CDeviceInfo original = filledRecord();
  const CDeviceInfo copy(original);
  original.setVersion("newer");
  original.setPCIInfo(SPCIInfo());
  EXPECT_EQ(copy.getVersion(), "the Version");
  EXPECT_EQ(copy.getPCIInfo().vendorID, "vendor");
}

TEST(DeviceRecord, TextsAreKeptByteByByte) {
  CDeviceInfo record;
  for (const std::string& text :
       {"\0 with NULs \0"s, " blanks "s, "line\nbreak\xff"s, std::string(100'000, 'x')}) {
    for (const TextField& field : kTextFields) {
      (record.*field.set)(text);
      EXPECT_EQ((record.*field.get)(), text) << field.name;
    }
  }
}

TEST(DeviceRecord, EnumerationsHaveTheirAgreedNumbers) {
  EXPECT_EQ(static_cast<int>(CDeviceInfo::DEVICE_TYPE_UNKNOWN), 0);
  EXPECT_EQ(static_cast<int>(CDeviceInfo::DEVICE_TYPE_PCI), 1);
  EXPECT_EQ(static_cast<int>(CDeviceInfo::DEVICE_TYPE_NONPCI), 2);
  EXPECT_EQ(static_cast<int>(CDeviceInfo::DEPENDENCY_HARD), 1);
  EXPECT_EQ(static_cast<int>(CDeviceInfo::DEPENDENCY_SOFT), 2);
  EXPECT_EQ(sizeof(CDeviceInfo::eDeviceType), 4U);
  EXPECT_EQ(sizeof(CDeviceInfo::eDependencyType), 4U);
}

// --- Equality.

struct Change {
  const char* what;
  std::function<void(CDeviceInfo&)> apply;
};

/// Sets one of the texts of the PCI identity.
std::function<void(CDeviceInfo&)> pciText(std::string SPCIInfo::*member, const std::string& text) {
  return [member, text](CDeviceInfo& record) {
    SPCIInfo pci = record.getPCIInfo();
    pci.*member = text;
    record.setPCIInfo(pci);
  };
}

const Change kCompared[] = {
    {"component type", [](CDeviceInfo& record) { record.setComponentType("x"); }},
    {"component id", [](CDeviceInfo& record) { record.setComponentID("x"); }},
    {"dependency type", [](CDeviceInfo& record) { record.setDependencyType(CDeviceInfo::DEPENDENCY_HARD); }},
    {"version", [](CDeviceInfo& record) { record.setVersion("x"); }},
    {"display", [](CDeviceInfo& record) { record.setDisplay("x"); }},
    {"detail", [](CDeviceInfo& record) { record.setDetail("x"); }},
    {"file path", [](CDeviceInfo& record) { record.setFilePath("x"); }},
    {"PCI component id", pciText(&SPCIInfo::componentID, "x")},
    {"PCI device id", pciText(&SPCIInfo::deviceID, "x")},
    {"PCI subsystem device id", pciText(&SPCIInfo::subDeviceID, "x")},
    {"PCI vendor id", pciText(&SPCIInfo::vendorID, "x")},
    {"PCI subsystem vendor id", pciText(&SPCIInfo::subVendorID, "x")},
    // byte by byte, case and length included
    {"letter case", [](CDeviceInfo& record) { record.setVersion("the VERSION"); }},
    {"letter case of an id", pciText(&SPCIInfo::vendorID, "Vendor")},
    {"a blank at the end", [](CDeviceInfo& record) { record.setDetail("the Detail "); }},
    {"a NUL at the end", [](CDeviceInfo& record) { record.setDisplay("the Display\0"s); }},
};

const Change kIgnored[] = {
    {"nothing", [](CDeviceInfo&) {}},
    {"release id", [](CDeviceInfo& record) { record.setReleaseID("x"); }},
    {"parent component id", [](CDeviceInfo& record) { record.setParentComponentID("x"); }},
    {"device name", [](CDeviceInfo& record) { record.setDeviceName("x"); }},
    {"device type", [](CDeviceInfo& record) { record.setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI); }},
    {"message id", [](CDeviceInfo& record) { record.setMessageID(99); }},
    {"status", [](CDeviceInfo& record) { record.setStatus(99); }},
    {"error message", [](CDeviceInfo& record) { record.setErrorMsg("x"); }},
    {"update status", [](CDeviceInfo& record) { record.setUpdateStatus(99); }},
    {"current version", [](CDeviceInfo& record) { record.setCurrentVersion("x"); }},
    {"enumeration id", [](CDeviceInfo& record) { record.setEnumId("x"); }},
    {"reboot", [](CDeviceInfo& record) { record.setRebootRequired(false); }},
    {"bus address",
     [](CDeviceInfo& record) {
       record.setBDFInfo({99, 99, 99});
     }},
    {"PCI display name", pciText(&SPCIInfo::displayName, "x")},
};

TEST(DeviceRecordEquality, SeesEveryDifferenceInWhatIdentifiesAComponent) {
  const CDeviceInfo record = filledRecord();
  for (const Change& change : kCompared) {
    CDeviceInfo other = record;
    change.apply(other);
    EXPECT_FALSE(record == other) << change.what;
    EXPECT_FALSE(other == record) << change.what;
  }
}

TEST(DeviceRecordEquality, IgnoresEverythingElse) {
  const CDeviceInfo record = filledRecord();
  CDeviceInfo inAll = record;
  for (const Change& change : kIgnored) {
    CDeviceInfo other = record;
    change.apply(other);
    change.apply(inAll);
    EXPECT_TRUE(record == other) << change.what;
    EXPECT_TRUE(other == record) << change.what;
  }
  EXPECT_TRUE(record == inAll);
}

TEST(DeviceRecordEquality, TwoFreshRecordsAreEqual) {
  EXPECT_TRUE(CDeviceInfo() == CDeviceInfo());
}

// --- The file path.

// Promise: file-path-placeholder
TEST(DeviceFilePath, IsTheDownloadSiteFollowedByThePathWithSlashes) {
  const struct {
    std::string stored;
    std::string path;
  } kCases[] = {
      {"", ""},
      {"file.bin", "file.bin"},
      {"FOLDER01\\2\\file.bin", "FOLDER01/2/file.bin"},
      {"a/b\\c", "a/b/c"},
      {"\\a", "/a"},
      {"/a", "/a"},
      {"a\\", "a/"},
      {"\\\\a\\\\b", "//a//b"},
      {"\\", "/"},
      {"a b%20&\"c", "a b%20&\"c"},
  };
  for (const auto& [stored, path] : kCases) {
    SCOPED_TRACE(stored);
    CDeviceInfo record;
    CDeviceInfo converted;
    record.setFilePath(stored);
    converted.setFilePath(path);
    EXPECT_EQ(record == converted, stored == path) << "kept as it is until it is read";
    EXPECT_EQ(record.getFilePath(), downloadSite() + path);
    EXPECT_TRUE(record == converted) << "stored with slashes from then on";
    EXPECT_EQ(record.getFilePath(), downloadSite() + path);
  }
}

TEST(DeviceFilePath, TheDownloadSiteIsAWebAddressThatEndsInASlash) {
  const std::string site = downloadSite();
  EXPECT_TRUE(site.starts_with("http://") || site.starts_with("https://")) << site;
  EXPECT_TRUE(site.ends_with("/")) << site;
}

// --- The setters from numbers.

std::vector<LogLine> fromDeviceInfo(const Texts& messages) {
  std::vector<LogLine> lines;
  for (const std::string& message : messages) lines.push_back({"cm_CMBaseUtils/src/DeviceInfo.cpp", message});
  return lines;
}

TEST(PciIdentityFromNumbers, IsLowerCaseHexadecimalWithoutPrefixOrZeros) {
  const struct {
    unsigned short number;
    const char* text;
  } kCases[] = {{0, "0"},         {1, "1"},         {9, "9"},         {10, "a"},        {0x10, "10"},
                {0xa8, "a8"},     {0xff, "ff"},     {0x100, "100"},   {0x0A54, "a54"},  {0xABC, "abc"},
                {0x1000, "1000"}, {0x144D, "144d"}, {0xA808, "a808"}, {0xABCD, "abcd"}, {0xFFFF, "ffff"}};
  for (const auto& [number, text] : kCases) {
    CDeviceInfo record;
    record.setPCIInfo(number, number, number, number);
    EXPECT_EQ(textsOf(record.getPCIInfo()), Texts({"", text, text, text, text, ""}));
  }
}

TEST(PciIdentityFromNumbers, TakesTheDeviceIdsBeforeTheVendorIdsAndLogsEach) {
  const LogCapture log;
  CDeviceInfo record;
  record.setPCIInfo(0xA808, 0x0801, 0x144D, 0);
  EXPECT_EQ(textsOf(record.getPCIInfo()), Texts({"", "a808", "801", "144d", "0", ""}));
  EXPECT_EQ(log.lines(),
            fromDeviceInfo(
                {"CDeviceInfo::setPCIInfo() Device id  a808", "CDeviceInfo::setPCIInfo() SubDevice id  801",
                 "CDeviceInfo::setPCIInfo() Vendor id  144d", "CDeviceInfo::setPCIInfo() SubVendor id  0"}));
}

TEST(PciIdentityFromNumbers, ClearsTheComponentIdAndTheNameAndNothingElse) {
  CDeviceInfo record = filledRecord();
  record.setPCIInfo(1, 2, 3, 4);
  EXPECT_EQ(textsOf(record.getPCIInfo()), Texts({"", "1", "2", "3", "4", ""}));
  for (const TextField& field : kTextFields) EXPECT_EQ((record.*field.get)(), "the "s + field.name);
}

TEST(PciIdentityFromTexts, IsTakenAsItIsAndNotLogged) {
  const LogCapture log;
  CDeviceInfo record;
  record.setPCIInfo({"C", "0x0A54", "A801 ", "144D", "", "A name"});
  EXPECT_EQ(textsOf(record.getPCIInfo()), Texts({"C", "0x0A54", "A801 ", "144D", "", "A name"}));
  EXPECT_EQ(log.text(), "");
}

TEST(BusAddressFromNumbers, IsStoredWholeAndLoggedAsRawBytes) {
  const struct {
    unsigned char bus;
    unsigned char device;
    unsigned char function;
    Texts bytes;
  } kCases[] = {
      {0x41, 0x30, 0x7a, {"A"s, "0"s, "z"s}},   {0x3B, 0, 1, {";"s, "\0"s, "\x01"s}},
      {0, 0, 0, {"\0"s, "\0"s, "\0"s}},         {0x03, 0x1f, 0x07, {"\x03"s, "\x1f"s, "\x07"s}},
      {0x0a, 0x20, 0x0d, {"\n"s, " "s, "\r"s}}, {0xff, 0x80, 0x25, {"\xff"s, "\x80"s, "%"s}},
  };
  for (const auto& [bus, device, function, bytes] : kCases) {
    const LogCapture log;
    CDeviceInfo record;
    record.setBDFInfo(bus, device, function);
    EXPECT_EQ(numbersOf(record.getBDFInfo()), std::vector<int>({bus, device, function}));
    EXPECT_EQ(log.lines(), fromDeviceInfo({"CNVMeAdapter::setBDFInfo() Bus Number is  " + bytes[0],
                                           "CNVMeAdapter::setBDFInfo() Device Number is  " + bytes[1],
                                           "CNVMeAdapter::setBDFInfo() Function Number is  " + bytes[2]}));
  }
}

TEST(BusAddressFromARecord, IsStoredWholeAndNotLogged) {
  const LogCapture log;
  CDeviceInfo record;
  record.setBDFInfo({0x3B, 31, 7});
  EXPECT_EQ(numbersOf(record.getBDFInfo()), std::vector<int>({59, 31, 7}));
  EXPECT_EQ(log.text(), "");
}

}  // namespace
