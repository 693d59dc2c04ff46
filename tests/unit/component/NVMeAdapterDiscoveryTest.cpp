// How the adapter turns the drives that the library discovers into records.

#include <algorithm>
#include <filesystem>
#include <limits>

#include "CoreTest.h"

namespace {

constexpr char kInvoking[] = "Invoking Samsung API to get NVMe PCISSD disks' discovery/inventory data";
constexpr char kDone[] =
    "Done. Samsung API NVMEDiscoverDrives successfully returned with discovery/inventory data";
constexpr char kRevisionFailed[] =
    "ERROR: Failed to get the NVMePCISSD firmware version using m_fncNVMEGetDriveInfo function pointer";

class NVMeAdapterDiscoveryTest : public CoreTest {
 protected:
  bool discover() { return initializedAdapter().DiscoverNVMeDevices(records.list); }

  /// The record of `drive` when the library discovers no other.
  CDeviceInfo discoverOnly(FakeDrive drive) {
    Records found;
    library.drives = {std::move(drive)};
    EXPECT_TRUE(CNVMeAdapter::GetInstance()->Initialize());
    EXPECT_TRUE(CNVMeAdapter::GetInstance()->DiscoverNVMeDevices(found.list));
    return found.list.size() == 1 ? *found.list[0] : CDeviceInfo();
  }

  /// What follows `start` in each line since the last call that begins with it.
  Lines loggedAfter(const std::string& start) {
    Lines rest;
    for (const std::string& line : logged()) {
      if (line.starts_with(start)) rest.push_back(line.substr(start.size()));
    }
    return rest;
  }

  Lines enumIds() const {
    Lines ids;
    for (const CDeviceInfo* record : records.list) ids.push_back(record->getEnumId());
    return ids;
  }

  void describeInPackage(const std::string& devices) {
    writeFile(work / "package.xml",
              "<SoftwareComponent><SupportedDevices>" + devices + "</SupportedDevices></SoftwareComponent>");
  }
  static std::string supportedDevice(const std::string& deviceID, const std::string& name) {
    return R"(<Device componentID="1"><PCIInfo deviceID=")" + deviceID +
           R"(" subDeviceID="A801" vendorID="144D" subVendorID="1a2b"/><Display>)" + name +
           "</Display></Device>";
  }

  Records records;
};

TEST_F(NVMeAdapterDiscoveryTest, EveryLineOfOneDriveInOrderWithItsSource) {
  library.drives = {FakeDrive{}};
  ASSERT_TRUE(discover());
  const std::string adapter = "src/NVMeAdapter.cpp";
  const std::string record = "cm_CMBaseUtils/src/DeviceInfo.cpp";
  const std::string reader = "cm_CMBaseUtils/src/SoftwareComponentInfo.cpp";
  const std::vector<LogLine> expected{
      {adapter, kInvoking},
      {adapter, kDone},
      {adapter, "Found a NVMePCISSD with drive number "},
      {record, "CDeviceInfo::setPCIInfo() Device id  a808"},
      {record, "CDeviceInfo::setPCIInfo() SubDevice id  a801"},
      {record, "CDeviceInfo::setPCIInfo() Vendor id  144d"},
      {record, "CDeviceInfo::setPCIInfo() SubVendor id  1a2b"},
      {record, "CNVMeAdapter::setBDFInfo() Bus Number is  A"},
      {record, "CNVMeAdapter::setBDFInfo() Device Number is  B"},
      {record, "CNVMeAdapter::setBDFInfo() Function Number is  C"},
      {adapter, "NVMePCISSD Model Number: Sample SSD"},
      {adapter, "NVMePCISSD Serial Number: SN01"},
      {adapter, "INFO: Firmware Version of the drive using memory values  EXF0101"},
      {adapter, "CNVMeAdapter::setBasicDeviceInfo() Setting the Device Name: "},
      {adapter, "Setting the Component Type: FRMW"},
      {adapter, "Setting the Device Type"},
      {adapter, "Befoe creating the object of Software Component Info"},
      {adapter, "After creating the object of Software Component Info"},
      {reader, "CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression"},
      {reader, "CSoftwareComponentInfo::GetSupportedDevices() Exiting"},
      {reader, "CSoftwareComponentInfo::getMarketingNameForPCIDevice() Exiting"},
      {adapter, "Setting the Display name to Marketing name: "}};
  const std::vector<LogLine> lines = loggedWithSources();
  ASSERT_EQ(lines.size(), expected.size());
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].source, expected[i].source) << lines[i].message;
    EXPECT_EQ(lines[i].message, expected[i].message);
  }
}

TEST_F(NVMeAdapterDiscoveryTest, RecordSaysEverythingThatTheLibraryTells) {
  library.drives = {FakeDrive{}};
  ASSERT_TRUE(discover());
  CDeviceInfo expected;
  expected.setPCIInfo({"", "a808", "a801", "144d", "1a2b", ""});
  expected.setBDFInfo(_BDFInfo{0x41, 0x42, 0x43});
  expected.setEnumId("Serial Number: SN01");
  expected.setVersion("EXF0101");
  expected.setStatus(0);
  expected.setErrorMsg("Success");
  expected.setComponentType("FRMW");
  expected.setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI);
  EXPECT_EQ(describe(records.list), Lines{describe(expected)});
  EXPECT_EQ(library.calls, (Lines{"discover", "info 65:66.67"}));
  EXPECT_TRUE(library.recordsUntouched());
}

TEST_F(NVMeAdapterDiscoveryTest, IdsAreShortHexadecimalTexts) {
  const CDeviceInfo record =
      discoverOnly({.deviceID = 0x0a54, .subDeviceID = 0, .vendorID = 0xFFFF, .subVendorID = 0x00c0});
  const SPCIInfo pci = record.getPCIInfo();
  EXPECT_EQ(pci.deviceID, "a54");
  EXPECT_EQ(pci.subDeviceID, "0");
  EXPECT_EQ(pci.vendorID, "ffff");
  EXPECT_EQ(pci.subVendorID, "c0");
}

TEST_F(NVMeAdapterDiscoveryTest, BusAddressIsTakenWholeAtItsBounds) {
  const CDeviceInfo record = discoverOnly({.bus = 255, .device = 0, .function = 255});
  EXPECT_EQ(record.getBDFInfo().bus, 255);
  EXPECT_EQ(record.getBDFInfo().device, 0);
  EXPECT_EQ(record.getBDFInfo().function, 255);
  EXPECT_EQ(library.calls, (Lines{"discover", "info 255:0.255"}));
}

struct FieldCase {
  std::string field;  ///< padded with blanks to its width
  std::string text;
};

TEST_F(NVMeAdapterDiscoveryTest, SerialNumberIsTrimmed) {
  const std::vector<FieldCase> cases{
      {"SN0001", "SN0001"},
      {"   SN0001", "SN0001"},
      {"  SN 00 01  ", "SN 00 01"},
      {"12345678901234567890", "12345678901234567890"},
      {std::string(20, ' '), "  "},
      {std::string(20, '\0'), ""},
      {std::string("SN\0hidden", 9), "SN"},
      {std::string("  SN \0", 6), "SN"},
      {std::string(" \0", 2), " "},
      {"\t\n SN\v\f\r", "SN"},
      {"\t\n", "\t\n"},
      {"\xff\x80N", "\xff\x80N"},
      {"S<N>&\"'", "S<N>&\"'"},
  };
  for (const FieldCase& example : cases) {
    SCOPED_TRACE(testing::PrintToString(example.field));
    EXPECT_EQ(discoverOnly({.serial = example.field}).getEnumId(), "Serial Number: " + example.text);
    EXPECT_EQ(loggedAfter("NVMePCISSD Serial Number: "), Lines{example.text});
  }
}

TEST_F(NVMeAdapterDiscoveryTest, ModelNumberIsTrimmedAndOnlyLogged) {
  const std::string full = "Sample NVMe PCIe SSD, forty bytes wide..";
  ASSERT_EQ(full.size(), 40U);
  const std::vector<FieldCase> cases{
      {"Sample SSD", "Sample SSD"},
      {"  Sample  SSD ", "Sample  SSD"},
      {full, full},
      {std::string(40, ' '), "  "},
      {std::string(40, '\0'), ""},
      {std::string("Sample\0hidden", 13), "Sample"},
  };
  for (const FieldCase& example : cases) {
    SCOPED_TRACE(testing::PrintToString(example.field));
    const CDeviceInfo record = discoverOnly({.model = example.field});
    EXPECT_EQ(loggedAfter("NVMePCISSD Model Number: "), Lines{example.text});
    EXPECT_EQ(describe(record), describe(discoverOnly({.model = "another"})));
    logged();
  }
}

TEST_F(NVMeAdapterDiscoveryTest, RevisionIsNotTrimmed) {
  const std::vector<FieldCase> cases{
      // padded with NULs
      {"EXF0101", "EXF0101"},
      {"EXF0101 ", "EXF0101 "},
      {"EXF01   ", "EXF01   "},
      {"12345678", "12345678"},
      {"  EXF", "  EXF"},
      {"        ", "        "},
      {"", ""},
      {std::string("E\0F", 3), "E"},
  };
  for (const FieldCase& example : cases) {
    SCOPED_TRACE(testing::PrintToString(example.field));
    const CDeviceInfo record = discoverOnly({.revision = example.field});
    EXPECT_EQ(record.getVersion(), example.text);
    EXPECT_EQ(record.getStatus(), 0);
    EXPECT_EQ(record.getErrorMsg(), "Success");
    EXPECT_EQ(loggedAfter("INFO: Firmware Version of the drive using memory values  "), Lines{example.text});
  }
}

TEST_F(NVMeAdapterDiscoveryTest, DriveWithUnreadableRevisionIsListedWithStatus2) {
  for (const int result : {1, -1, 267}) {
    SCOPED_TRACE(result);
    const CDeviceInfo record = discoverOnly({.revision = "UNUSED", .infoResult = result});
    EXPECT_EQ(record.getVersion(), "Not Found");
    EXPECT_EQ(record.getStatus(), 2);
    EXPECT_EQ(record.getErrorMsg(), "ERROR: Getting Firmware Version of required NVMePCISSD disk failed");
    EXPECT_EQ(record.getEnumId(), "Serial Number: SN01");
    EXPECT_EQ(record.getComponentType(), "FRMW");
    EXPECT_EQ(record.getDeviceType(), CDeviceInfo::DEVICE_TYPE_PCI);
    EXPECT_EQ(loggedAfter(kRevisionFailed), Lines{""});
  }
}

TEST_F(NVMeAdapterDiscoveryTest, UnreadableRevisionDoesNotStopTheOthers) {
  addDrives(3);
  library.drives[1].infoResult = 5;
  EXPECT_TRUE(discover());
  Lines versions;
  for (const CDeviceInfo* record : records.list) versions.push_back(record->getVersion());
  EXPECT_EQ(versions, (Lines{"EXF1", "Not Found", "EXF3"}));
  Lines expected = discoveryLines(library.drives);
  expected[15] = kRevisionFailed;  // the fourth line of the second drive
  EXPECT_EQ(logged(), expected);
}

TEST_F(NVMeAdapterDiscoveryTest, RevisionIsReadAtTheGivenAddress) {
  addDrives(2);
  _NVME_ZOLT_BDF address{2, 0, 0x43};
  std::string revision = "of before";
  EXPECT_TRUE(initializedAdapter().getFirmwareRevision(address, revision));
  EXPECT_EQ(revision, "EXF2");
  EXPECT_EQ(logged(), Lines{"INFO: Firmware Version of the drive using memory values  EXF2"});

  library.drives[1].infoResult = 1;
  EXPECT_FALSE(CNVMeAdapter::GetInstance()->getFirmwareRevision(address, revision));
  EXPECT_EQ(revision, "Not Found");
  EXPECT_EQ(logged(), Lines{kRevisionFailed});
}

TEST_F(NVMeAdapterDiscoveryTest, FailingDiscoveryListsNothingAndShowsTheResultUnsigned) {
  struct Case {
    int result;
    const char* shown;
  };
  for (const Case& example : {Case{1, "1"}, Case{267, "267"}, Case{-1, "4294967295"},
                              Case{std::numeric_limits<int>::max(), "2147483647"},
                              Case{std::numeric_limits<int>::min(), "2147483648"}}) {
    SCOPED_TRACE(example.result);
    library.drives = {FakeDrive{}};
    library.discoverResult = example.result;
    EXPECT_FALSE(discover());
    EXPECT_EQ(logged(),
              (Lines{kInvoking,
                     "ERROR: Samung API NVMEDiscoverDrives failed to collect NVMe PCISSD disks' inventory",
                     std::string("ERROR INFO: API return value = ") + example.shown}));
    EXPECT_EQ(records.list.size(), 0U);
    CNVMeAdapter::DeleteInstance();
    logged();
  }
  EXPECT_EQ(library.calls, Lines(5, "discover"));
}

TEST_F(NVMeAdapterDiscoveryTest, NoDrivesListNothing) {
  EXPECT_FALSE(discover());
  EXPECT_EQ(logged(), (Lines{kInvoking, kDone}));
  EXPECT_EQ(records.list.size(), 0U);
}

TEST_F(NVMeAdapterDiscoveryTest, ListBesideACountOfZeroIsNotRead) {
  addDrives(1);
  library.count = 0;
  EXPECT_FALSE(discover());
  EXPECT_EQ(logged(), (Lines{kInvoking, kDone}));
  EXPECT_EQ(library.calls, Lines{"discover"});
}

TEST_F(NVMeAdapterDiscoveryTest, CountWithoutListListsNothing) {
  addDrives(2);
  library.givesList = false;
  EXPECT_FALSE(discover());
  EXPECT_EQ(logged(), (Lines{kInvoking, kDone}));
  EXPECT_EQ(library.calls, Lines{"discover"});
}

TEST_F(NVMeAdapterDiscoveryTest, EmptyEntriesOfTheListArePassedOver) {
  addDrives(3);
  library.nullEntries = {0, 2};
  EXPECT_TRUE(discover());
  EXPECT_EQ(enumIds(), Lines{"Serial Number: SN2"});
  EXPECT_EQ(loggedAfter("ERROR: "), Lines(2, "NVMEDiscoverDrives returned an empty drive entry"));
}

TEST_F(NVMeAdapterDiscoveryTest, ListOfEmptyEntriesAloneListsNothing) {
  addDrives(2);
  library.nullEntries = {0, 1};
  EXPECT_FALSE(discover());
  EXPECT_EQ(records.list.size(), 0U);
}

TEST_F(NVMeAdapterDiscoveryTest, TwoDrivesWholeLog) {
  addDrives(2);
  EXPECT_TRUE(discover());
  EXPECT_EQ(logged(), discoveryLines(library.drives));
  EXPECT_EQ(library.calls, (Lines{"discover", "info 1:0.67", "info 2:0.67"}));
}

TEST_F(NVMeAdapterDiscoveryTest, HundredsOfDrivesAreAllListedInOrder) {
  addDrives(300);
  EXPECT_TRUE(discover());
  ASSERT_EQ(records.list.size(), 300U);
  for (std::size_t i = 0; i < 300; ++i) {
    ASSERT_EQ(records.list[i]->getEnumId(), "Serial Number: SN" + std::to_string(i + 1));
    ASSERT_EQ(records.list[i]->getVersion(), "EXF" + std::to_string(i + 1));
  }
  EXPECT_TRUE(library.recordsUntouched());
}

TEST_F(NVMeAdapterDiscoveryTest, FoundLineIsAdvancedByTheDrivesNumberAndEmptyBeyondItsEnd) {
  addDrives(40);
  EXPECT_TRUE(discover());
  const Lines lines = logged();
  ASSERT_EQ(lines.size(), 2 + 40 * 10U);
  const auto foundLine = [&lines](std::size_t drive) { return lines[2 + 10 * drive]; };
  EXPECT_EQ(foundLine(0), "Found a NVMePCISSD with drive number ");
  EXPECT_EQ(foundLine(1), "ound a NVMePCISSD with drive number ");
  EXPECT_EQ(foundLine(35), "r ");
  EXPECT_EQ(foundLine(36), " ");
  EXPECT_EQ(foundLine(37), "");
  EXPECT_EQ(foundLine(38), "");
  EXPECT_EQ(foundLine(39), "");
}

TEST_F(NVMeAdapterDiscoveryTest, RecordsAreAppendedToTheList) {
  addDrives(2);
  records.list = {new CDeviceInfo, new CDeviceInfo};
  const std::vector<CDeviceInfo*> before = records.list;
  EXPECT_TRUE(discover());
  ASSERT_EQ(records.list.size(), 4U);
  EXPECT_TRUE(std::equal(before.begin(), before.end(), records.list.begin()));
  EXPECT_EQ(enumIds(), (Lines{"", "", "Serial Number: SN1", "Serial Number: SN2"}));
}

TEST_F(NVMeAdapterDiscoveryTest, RecordThatCannotBeMadeEndsTheDiscovery) {
  for (unsigned failing = 0; failing < 3; ++failing) {
    SCOPED_TRACE(failing);
    library.drives.clear();
    addDrives(3);
    library.calls.clear();
    Records found;
    CNVMeAdapter& adapter = initializedAdapter();
    {
      const AllocationFault fault(AllocationFault::kReturnsNull, sizeof(CDeviceInfo), failing);
      EXPECT_EQ(adapter.DiscoverNVMeDevices(found.list), failing > 0);
    }
    EXPECT_EQ(found.list.size(), failing);
    EXPECT_EQ(library.calls.size(), 1 + failing);
    const std::vector<FakeDrive> listed(library.drives.begin(), library.drives.begin() + failing);
    EXPECT_EQ(logged(), all({discoveryLines(listed),
                             {kFoundText.substr(failing), "ERROR: Creating CDeviceInfo instance failed!"}}));
    CNVMeAdapter::DeleteInstance();
    logged();
  }
}

TEST_F(NVMeAdapterDiscoveryTest, DisplayIsTheMarketingNameOfTheSameIds) {
  describeInPackage(supportedDevice("0A54", "Sample A") + supportedDevice("A808", "Sample B"));
  struct Case {
    std::uint16_t deviceID;
    const char* name;
  };
  for (const Case& example :
       {Case{0xa808, "Sample B"}, Case{0x0a54, ""},  // "a54", and no descriptor entry is that short
        Case{0xa809, ""}}) {
    SCOPED_TRACE(example.deviceID);
    const CDeviceInfo record = discoverOnly({.deviceID = example.deviceID});
    EXPECT_EQ(record.getDisplay(), example.name);
    EXPECT_EQ(record.getDeviceName(), "");
    EXPECT_EQ(record.getPCIInfo().displayName, "");
    EXPECT_EQ(loggedAfter("Setting the Display name to Marketing name: "), Lines{example.name});
  }
}

TEST_F(NVMeAdapterDiscoveryTest, BasicInfoReplacesWhatTheRecordHeld) {
  describeInPackage(supportedDevice("A808", "Sample B"));
  CDeviceInfo record;
  record.setDeviceName("of before");
  record.setComponentType("of before");
  record.setDisplay("of before");
  record.setPCIInfo(0xa808, 0xa801, 0x144d, 0x1a2b);
  initializedAdapter().setBasicDeviceInfo(&record);
  EXPECT_EQ(record.getDeviceName(), "");
  EXPECT_EQ(record.getComponentType(), "FRMW");
  EXPECT_EQ(record.getDeviceType(), CDeviceInfo::DEVICE_TYPE_PCI);
  EXPECT_EQ(record.getDisplay(), "Sample B");
  EXPECT_EQ(record.getStatus(), -1);

  record.setPCIInfo(1, 2, 3, 4);
  CNVMeAdapter::GetInstance()->setBasicDeviceInfo(&record);
  EXPECT_EQ(record.getDisplay(), "");
}

TEST_F(NVMeAdapterDiscoveryTest, MarkerFileSilencesARunningLogAtTheFirstDescriptorReader) {
  writeFile(work / "enabledebug.txt", "");
  addDrives(2);
  EXPECT_TRUE(discover());
  EXPECT_EQ(logged().back(), "Befoe creating the object of Software Component Info");
  EXPECT_FALSE(std::filesystem::exists(work / "baseutils.log"));
  EXPECT_EQ(enumIds(), (Lines{"Serial Number: SN1", "Serial Number: SN2"}));
}

}  // namespace
