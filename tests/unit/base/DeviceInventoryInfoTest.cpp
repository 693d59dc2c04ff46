#include "DeviceInventoryInfoTest.h"

#include <libxml/parser.h>

#include <array>
#include <initializer_list>
#include <utility>

namespace {

/// Log lines of the class, given without its name.
Lines logged(std::initializer_list<std::string> lines) {
  return prefixed("CDeviceInventoryInfo::", lines);
}

/// The log of a search for a failed status in a document without status elements.
Lines noStatusLines() {
  return logged(
      {"GetNodeSet() Start", "GetNodeSet() Empty nodeset", "GetInventoryStatus() pXpathObj is NULL"});
}

Lines failedStatusLines(const std::string& message) {
  return logged({"GetNodeSet() Start", "GetNodeSet() END", "GetInventoryStatus() got message"}) +
         Lines{message};
}

std::string inventory(const std::string& content) {
  return R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">)" + content + "</SVMInventory>";
}

std::string failedStatus(const std::string& message) {
  return R"(<SPStatus result = "false" ><Message id="5" >)" + message + "</Message></SPStatus>";
}

const Lines kDataFileRecords{
    "pci status=1 type=FRMW version=EXF0101 name=Example SSD error=Example error text pci=|a808|a801|144d|144d|",
    "nonpci status=1 id=12345 type=APAC version=1.0.0 name=Example dependency error=Example error text"};

TEST_F(DeviceInventoryInfoTest, ConstructorTurnsKeepingOfBlanksOffAndReadsNothing) {
  xmlKeepBlanksDefault(1);
  EXPECT_EQ(logOf([] { const CDeviceInventoryInfo reader("missing.xml"); }),
            logged({"~CDeviceInventoryInfo"}));
  EXPECT_EQ(xmlKeepBlanksDefault(0), 0);
}

TEST_F(DeviceInventoryInfoTest, CompleteDocumentYieldsItsRecordsInOrder) {
  expectReadings({{"complete file", dataFile("inventory.xml"), kDataFileRecords}});
}

TEST_F(DeviceInventoryInfoTest, LogNamesTheReadersSource) {
  write(dataFile("inventory.xml"));
  const LogCapture log;
  take(m_reader.GetDeviceInfo());
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.source, "cm_CMBaseUtils/src/DeviceInventoryInfo.cpp") << line.message;
  }
  EXPECT_EQ(log.lines().size(), 10U);
}

// ---- Devices ----

TEST_F(DeviceInventoryInfoTest, IdsDecideTheTypeOfADevice) {
  const std::string pci = R"( vendorID="144d" deviceID="a808" subVendorID="144e" subDeviceID="a801")";
  const auto device = [](const std::string& attributes) { return inventory("<Device" + attributes + "/>"); };
  expectReadings({
      {"all PCI ids", device(pci), {"pci pci=|a808|a801|144d|144e|"}},
      {"vendor id alone", device(R"( vendorID="144d")"), {"pci pci=|||144d||"}},
      {"no sub-device id",
       device(R"( vendorID="144d" deviceID="1" subVendorID="2")"),
       {"pci pci=|1||144d|2|"}},
      {"empty vendor id", device(R"( vendorID="" deviceID="1")"), {"pci pci=|1||||"}},
      {"no vendor id", device(R"( deviceID="a808" subVendorID="144d" subDeviceID="a801")"), {"unknown"}},
      {"component id", device(R"( componentID="100")"), {"nonpci id=100"}},
      {"both", device(R"( componentID="100")" + pci), {"nonpci id=100"}},
      {"empty component id beside PCI ids", device(R"( componentID="")" + pci), {"nonpci"}},
      {"no attribute", device(""), {"unknown"}},
      {"names in another letter case", device(R"( ComponentID="100" VendorID="1")"), {"unknown"}},
      {"ids are kept as they stand", device(R"( vendorID=" 8" deviceID="A8")"), {"pci pci=|A8|| 8||"}},
  });
}

TEST_F(DeviceInventoryInfoTest, IdsOfADeviceAreNotCarriedOverToTheNext) {
  expectReadings({{"two devices",
                   inventory(R"(<Device vendorID="1" deviceID="2" subVendorID="3" subDeviceID="4" display="a">
                                  <Application componentType="FRMW" version="5"/></Device>
                                <Device vendorID="9"/>)"),
                   {"pci type=FRMW version=5 name=a pci=|2|4|1|3|", "pci pci=|||9||"}}});
}

TEST_F(DeviceInventoryInfoTest, DisplayBecomesTheDeviceName) {
  expectReadings({
      {"display", inventory(R"(<Device display="a b"/>)"), {"unknown name=a b"}},
      {"empty display", inventory(R"(<Device display=""/>)"), {"unknown"}},
      {"display of the application",
       inventory(R"(<Device><Application display="a"/></Device>)"),
       {"unknown"}},
      {"enumeration id", inventory(R"(<Device enum = "3" />)"), {"unknown"}},
      {"escaped characters",
       inventory(R"(<Device display="&lt;a&gt; &amp; &quot;b&apos;"/>)"),
       {R"(unknown name=<a> & "b')"}},
  });
}

TEST_F(DeviceInventoryInfoTest, FirstChildElementOfWhateverNameIsTheApplication) {
  const std::string application = R"(<Application componentType="FRMW" version="2"/>)";
  const auto device = [](const std::string& content) {
    return inventory("<Device>" + content + "</Device>");
  };
  expectReadings({
      {"application", device(application), {"unknown type=FRMW version=2"}},
      {"other name", device(R"(<a componentType="FRMW" version="2"/>)"), {"unknown type=FRMW version=2"}},
      {"type alone", device(R"(<Application componentType="FRMW"/>)"), {"unknown type=FRMW"}},
      {"version alone", device(R"(<Application version="2"/>)"), {"unknown version=2"}},
      {"after text, comment, CDATA and instruction",
       device("text<!-- a --><![CDATA[b]]><?Application version='1'?>" + application),
       {"unknown type=FRMW version=2"}},
      {"second element", device("<a/>" + application), {"unknown"}},
      {"grandchild", device("<a>" + application + "</a>"), {"unknown"}},
      {"no element", device("text"), {"unknown"}},
  });
}

TEST_F(DeviceInventoryInfoTest, DevicesAreFoundAtAnyDepthBelowTheRoot) {
  const std::string nestedDevices =
      R"(<a><Device display="1"><b><Device display="2"/></b></Device></a><Device display="3"/>)";
  const Lines found{"unknown name=1", "unknown name=2", "unknown name=3"};
  expectReadings({
      {"below the root", inventory(nestedDevices), found},
      {"below a root that is no root", "<a><SVMInventory>" + nestedDevices + "</SVMInventory></a>", found},
      {"outside", "<a><SVMInventory/>" + nestedDevices + "</a>", kNothing},
      {"other letter case", inventory("<device/><DEVICE/>"), kNothing},
      {"comment and instruction", inventory("<!--<Device/>--><?Device a?>"), kNothing},
  });
}

TEST_F(DeviceInventoryInfoTest, ThousandDevicesKeepTheirOrder) {
  std::string devices;
  Lines expected;
  for (int i = 0; i < 1000; ++i) {
    devices += "<Device componentID=\"" + std::to_string(i) + "\"/>";
    expected.push_back("nonpci id=" + std::to_string(i));
  }
  expectReadings({{"1000 devices", inventory(devices), expected}});
}

TEST_F(DeviceInventoryInfoTest, ReadingLogsTheStatusOncePerDevice) {
  write(inventory("<Device/><Device/>"));
  EXPECT_EQ(logOf([this] { take(m_reader.GetDeviceInfo()); }),
            logged({"GetNodeSet() Start", "GetNodeSet() END"}) + noStatusLines() + noStatusLines());
}

// ---- Status ----

TEST_F(DeviceInventoryInfoTest, FailedStatusMarksEveryRecord) {
  const std::string devices = R"(<Device componentID="1"/><Device vendorID="2"/>)";
  const Lines failed{"nonpci status=1 id=1 error=E", "pci status=1 error=E pci=|||2||"};
  expectReadings({
      {"after the devices", inventory(devices + failedStatus("E")), failed},
      {"before the devices", inventory(failedStatus("E") + devices), failed},
      {"in the application of one device",
       inventory(R"(<Device componentID="1"><Application>)" + failedStatus("E") +
                 R"(</Application></Device>)" + R"(<Device vendorID="2"/>)"),
       failed},
      {"only device", inventory("<Device/>" + failedStatus("E")), {"unknown status=1 error=E"}},
      {"without message", inventory("<Device/>" + failedStatus("")), {"unknown status=1"}},
      {"a true one",
       inventory(R"(<Device/><SPStatus result="true"><Message>E</Message></SPStatus>)"),
       {"unknown"}},
  });
}

TEST_F(DeviceInventoryInfoTest, FailedStatusIsLoggedForEveryRecord) {
  write(inventory("<Device/><Device/>" + failedStatus("E")));
  EXPECT_EQ(
      logOf([this] { take(m_reader.GetDeviceInfo()); }),
      logged({"GetNodeSet() Start", "GetNodeSet() END"}) + failedStatusLines("E") + failedStatusLines("E"));
}

TEST_F(DeviceInventoryInfoTest, FailedStatusWithoutDevicesYieldsOneRecordWithTheMessageAlone) {
  expectReadings({
      {"with message", inventory(failedStatus("E")), {"unknown status=1 error=E"}},
      {"several", inventory(failedStatus("E") + failedStatus("F")), {"unknown status=1 error=E"}},
      {"without message", inventory(R"(<SPStatus result="false"/>)"), {"unknown status=1"}},
      {"a true one", inventory(R"(<SPStatus result="true"/>)"), kNothing},
      {"none", inventory(""), kNothing},
  });
}

TEST_F(DeviceInventoryInfoTest, DocumentWithoutDevicesLogsTheNullResultAndTheStatus) {
  const Lines noDevices =
      logged({"GetNodeSet() Start", "GetNodeSet() Empty nodeset", "GetDeviceInfo() pXpathObj is NULL"});
  write(inventory(""));
  EXPECT_EQ(logOf([this] { take(m_reader.GetDeviceInfo()); }), noDevices + noStatusLines());
  write(inventory(failedStatus("E")));
  EXPECT_EQ(logOf([this] { take(m_reader.GetDeviceInfo()); }), noDevices + failedStatusLines("E"));
}

TEST_F(DeviceInventoryInfoTest, FirstFailedStatusDecides) {
  const std::string message = "<Message>E</Message>";
  const auto result = [&message](const std::string& value) {
    return "<SPStatus result=\"" + value + "\">" + message + "</SPStatus>";
  };
  const std::string fine = result("true");
  const std::string failed = failedStatus("F");
  const std::vector<std::array<std::string, 3>> rows{
      {"false", result("false"), "failed: E"},
      {"upper case", result("FALSE"), "failed: E"},
      {"mixed case", result("False"), "failed: E"},
      {"true", fine, "fine"},
      {"other word", result("falsehood"), "fine"},
      {"blank after the word", result("false "), "fine"},
      {"empty result", result(""), "fine"},
      {"no result", "<SPStatus>" + message + "</SPStatus>", "fine"},
      {"attribute name in another case", "<SPStatus Result='false'>" + message + "</SPStatus>", "fine"},
      {"failed after true", fine + failed, "failed: F"},
      {"failed after no result", "<SPStatus/>" + failed, "failed: F"},
      {"two failed", result("false") + failed, "failed: E"},
      {"in an application", "<Device><Application>" + result("false") + "</Application></Device>" + failed,
       "failed: E"},
      {"before an application",
       failed + "<Device><Application>" + result("false") + "</Application></Device>", "failed: F"},
      {"directly in a device", "<Device>" + failed + "</Device>", "fine"},
      {"in the application of a device further down",
       "<a><Device><Application>" + failed + "</Application></Device></a>", "fine"},
      {"further down", "<a>" + failed + "</a>", "fine"},
  };
  for (const auto& [situation, content, expected] : rows) {
    load(inventory(content));
    EXPECT_EQ(status(), expected) << situation << ": " << content;
  }
}

TEST_F(DeviceInventoryInfoTest, MessageIsTheFirstTextOfTheFirstChildElement) {
  const std::vector<std::array<std::string, 3>> rows{
      {"message", "<Message id='5'>E</Message>", "failed: E"},
      {"other name", "<a>E</a><Message>F</Message>", "failed: E"},
      {"after text and comment", "text<!-- a --><Message>E</Message>", "failed: E"},
      {"comment first", "<Message><!--a-->E</Message>", "failed: a"},
      {"CDATA", "<Message><![CDATA[<E>]]></Message>", "failed: <E>"},
      {"up to an element", "<Message>E <b>F</b></Message>", "failed: E "},
      {"blanks", "<Message>  </Message>", "failed:   "},
      {"element first", "<Message><b>E</b></Message>", "failed: before"},
      {"first without text, second with", "<Message/><Message>E</Message>", "failed: before"},
      {"no element", "text", "failed: before"},
      {"nothing", "", "failed: before"},
  };
  for (const auto& [situation, content, expected] : rows) {
    load(inventory("<SPStatus result='false'>" + content + "</SPStatus>"));
    EXPECT_EQ(status(), expected) << situation << ": " << content;
  }
}

TEST_F(DeviceInventoryInfoTest, StatusLogsTheMessageOnlyWhenThereIsOne) {
  load(inventory(failedStatus("E")));
  EXPECT_EQ(logOf([this] { EXPECT_EQ(status(), "failed: E"); }), failedStatusLines("E"));
  load(inventory(failedStatus("")));
  EXPECT_EQ(logOf([this] { EXPECT_EQ(status(), "failed: before"); }),
            logged({"GetNodeSet() Start", "GetNodeSet() END"}));
}

TEST_F(DeviceInventoryInfoTest, StatusBeforeReadingIsFine) {
  write(inventory(failedStatus("E")));
  EXPECT_EQ(logOf([this] { EXPECT_EQ(status(), "fine"); }), noStatusLines());
}

// ---- Reading again ----

TEST_F(DeviceInventoryInfoTest, SecondReadingSeesTheFileAsItIsThen) {
  load(inventory(R"(<Device componentID="1"/>)" + failedStatus("E")));
  EXPECT_EQ(load(inventory(R"(<Device componentID="2"/>)")), Lines{"nonpci id=2"});
  EXPECT_EQ(status(), "fine");
}

TEST_F(DeviceInventoryInfoTest, FailedSecondReadingForgetsTheFirst) {
  load(inventory(failedStatus("E")));
  EXPECT_EQ(load("<SVMInventory>"), kNothing);
  EXPECT_EQ(status(), "fine");
}

TEST_F(DeviceInventoryInfoTest, EmptyPathIsReported) {
  CDeviceInventoryInfo reader("");
  EXPECT_EQ(logOf([&reader] { EXPECT_EQ(take(reader.GetDeviceInfo()), kNothing); }),
            Lines{"Inventory file path is empty "});
}

// ---- Selecting ----

TEST_F(DeviceInventoryInfoTest, SelectionReturnsTheNodesInDocumentOrder) {
  load(inventory("<a/><b/><Device/>"));
  EXPECT_EQ(logOf([this] {
              EXPECT_EQ(namesOf(Selection(m_reader.GetNodeSet("//b | /SVMInventory/Device | //a"))),
                        (Lines{"a", "b", "Device"}));
            }),
            logged({"GetNodeSet() Start", "GetNodeSet() END"}));
}

TEST_F(DeviceInventoryInfoTest, SelectionThatYieldsNoNodesIsNull) {
  load(inventory("<Device/>"));
  const Lines empty = logged({"GetNodeSet() Start", "GetNodeSet() Empty nodeset"});
  const Lines failed = logged({"GetNodeSet() Start", "GetNodeSet() Error in xmlXPathEvalExpression"});
  const std::vector<std::pair<const char*, Lines>> rows{
      {"//Nothing", empty}, {"count(//Device)", empty}, {"//[", failed}, {"", failed}, {nullptr, failed}};
  for (const auto& [expression, expected] : rows) {
    EXPECT_EQ(logOf([this, text = expression] { EXPECT_EQ(Selection(m_reader.GetNodeSet(text)), nullptr); }),
              expected)
        << textOrNull(expression);
  }
}

TEST_F(DeviceInventoryInfoTest, SelectionBeforeReadingIsNull) {
  EXPECT_EQ(logOf([this] { EXPECT_EQ(Selection(m_reader.GetNodeSet("//Device")), nullptr); }),
            logged({"GetNodeSet() Start", "GetNodeSet() Empty nodeset"}));
}

TEST_F(DeviceInventoryInfoTest, AttributeValueIsNullOnlyWhenItIsAbsent) {
  load(inventory(R"(<Device full="a" empty=""/>)"));
  const Selection selection(m_reader.GetNodeSet("//Device"));
  ASSERT_NE(selection, nullptr);
  const xmlNode* const device = libxml::nodes(selection)[0];
  EXPECT_EQ(logOf([this, device] {
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(device, "full")), "a");
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(device, "empty")), "");
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(device, "missing")), "(null)");
            }),
            kNothing);
}

TEST_F(DeviceInventoryInfoTest, AttributeOfNoNodeOrNoNameIsReported) {
  load(inventory("<Device/>"));
  const Selection selection(m_reader.GetNodeSet("//Device"));
  ASSERT_NE(selection, nullptr);
  const xmlNode* const device = libxml::nodes(selection)[0];
  const Lines expected = logged({"GetAttributeValue() NULL == cur || NULL == propName"});
  EXPECT_EQ(logOf([this] { EXPECT_EQ(m_reader.GetAttributeValue(nullptr, "display"), nullptr); }), expected);
  EXPECT_EQ(logOf([this, device] { EXPECT_EQ(m_reader.GetAttributeValue(device, nullptr), nullptr); }),
            expected);
}

// ---- Bad files ----

TEST_F(DeviceInventoryInfoTest, MalformedDocumentFailsToParse) {
  for (const auto& [name, content] : malformedDocuments(dataFile("inventory.xml"))) {
    write(content);
    EXPECT_EQ(logOf([this] { EXPECT_EQ(take(m_reader.GetDeviceInfo()), kNothing); }),
              logged({"GetDeviceInfo() Document " + path() + "  parsing failed "}))
        << name;
  }
}

TEST_F(DeviceInventoryInfoTest, DocumentCutOffAnywhereYieldsNothing) {
  for (const auto& [name, content] : beginningsOf(dataFile("inventory.xml"))) {
    expectReadings({{name, content, kNothing}});
  }
}

TEST_F(DeviceInventoryInfoTest, OtherFormsOfTheDocumentReadTheSame) {
  for (const auto& [name, content] : otherFormsOf(dataFile("inventory.xml"))) {
    write(content);
    EXPECT_EQ(read(), kDataFileRecords) << name;
  }
}

TEST_F(DeviceInventoryInfoTest, ForeignDocumentHasNoDevices) {
  for (const auto& [name, content] : foreignDocuments(dataFile("inventory.xml"), "SVMInventory")) {
    expectReadings({{name, content, kNothing}});
  }
}

TEST_F(DeviceInventoryInfoTest, UnreadableFileFailsToParse) {
  const WithoutFilePrivileges unprivileged;
  for (const auto& [name, opens, make] : unreadableFiles()) {
    const std::string unreadable = m_folder / name;
    make(unreadable);
    EXPECT_EQ(
        logOf([&unreadable] {
          CDeviceInventoryInfo reader(unreadable);
          EXPECT_EQ(take(reader.GetDeviceInfo()), kNothing);
        }),
        logged({"GetDeviceInfo() Document " + unreadable + "  parsing failed ", "~CDeviceInventoryInfo"}))
        << name;
  }
}

TEST_F(DeviceInventoryInfoTest, FileThatTheDocumentNamesIsNeverRead) {
  const GuardedFile guarded(m_folder / "guarded.txt");
  for (const auto& [name, content] : documentsThatName(guarded.path(), dataFile("inventory.xml"))) {
    write(content);
    EXPECT_EQ(read(), kDataFileRecords) << name;
    EXPECT_FALSE(guarded.wasOpened()) << name;
  }
  EXPECT_EQ(readFile(guarded.path()), GuardedFile::content());
  EXPECT_TRUE(guarded.wasOpened()) << "the guard must notice a reader";
}

}  // namespace
