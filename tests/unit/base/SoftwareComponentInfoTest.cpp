#include "SoftwareComponentInfo.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <iterator>
#include <sstream>

#include "ReaderTestSupport.h"

namespace {

/// The lines of this class, its name left out.
Lines logged(std::initializer_list<std::string> lines) {
  return prefixed("CSoftwareComponentInfo::", lines);
}

/// A descriptor with this content in its list of supported devices.
std::string supporting(const std::string& devices) {
  return "<SoftwareComponent><SupportedDevices>" + devices + "</SupportedDevices></SoftwareComponent>";
}

/// A descriptor with one device of this content.
std::string device(const std::string& content) {
  return supporting("<Device componentID=\"100\">" + content + "</Device>");
}

/// A PCIInfo with these ids in the order in which records are described.
std::string pciInfo(const std::string& deviceID, const std::string& subDeviceID, const std::string& vendorID,
                    const std::string& subVendorID) {
  return "<PCIInfo deviceID=\"" + deviceID + "\" subDeviceID=\"" + subDeviceID + "\" vendorID=\"" + vendorID +
         "\" subVendorID=\"" + subVendorID + "\"/>";
}

SPCIInfo drive(const std::string& deviceID, const std::string& subDeviceID, const std::string& vendorID,
               const std::string& subVendorID) {
  return {"", deviceID, subDeviceID, vendorID, subVendorID, ""};
}

/// The tests work in a folder of their own, where the descriptor is.
class SoftwareComponentInfoTest : public testing::Test {
 protected:
  static void write(const std::string& descriptor) { writeFile("package.xml", descriptor); }

  std::string path() const { return m_folder / "package.xml"; }

  static Lines supported() {
    Lines lines;
    for (const SPCIInfo& entry : CSoftwareComponentInfo().GetSupportedDevices()) {
      lines.push_back(describe(entry));
    }
    return lines;
  }

  static std::string marketingName(SPCIInfo drive) {
    return CSoftwareComponentInfo().getMarketingNameForPCIDevice(drive);
  }

  static Lines dependencies() { return take(CSoftwareComponentInfo().getDependencyInfo()); }

  /// The answers of a new reader to all queries of the descriptor.
  static Lines answers() {
    CSoftwareComponentInfo reader;
    return Lines{"id " + reader.GetComponentID(), "type " + reader.GetComponentType(),
                 "version " + reader.GetComponentVersion(), "display " + reader.GetComponentDisplayString()} +
           reader.GetComponentIDS() + supported() + dependencies();
  }

  /// Compares what `query` answers about each content of the descriptor.
  template <class Query>
  static void expectReadings(Query query, const std::vector<Reading<Lines>>& readings) {
    for (const auto& [situation, content, expected] : readings) {
      write(content);
      EXPECT_EQ(query(), expected) << situation << ": " << content;
    }
  }

  WorkingFolder m_folder;
  QuietXml m_quiet;
};

const Lines kNoAnswers{"id ", "type ", "version ", "display "};

const Lines kDataFileAnswers{
    "id 101",
    "type FRMW",
    "version 2.5.0",
    "display Example SSD 100",
    "100",
    "101",
    "100|a808|a801|144d|144d|Example SSD 100 Gen4",
    "100|00a8|0001|144d|144d|Example SSD 100 Gen4",
    "101|A80A|A812|144d|144d|Example SSD 100 Gen4",
    "nonpci dependency=2 parent=100 id=900 type=APAC version=1.1 path=tools/update release=R900 "
    "display=Example tool detail=Helps the update",
    "pci parent=100 id=901 type=BIOS version=3.0 path=bios/3 release=R901 display=Example BIOS pci=|10||8086||",
    "pci parent=100 id=901 type=BIOS version=3.0 path=bios/3 release=R901 display=Example BIOS pci=|11||8086||"};

// ---- Construction ----

TEST_F(SoftwareComponentInfoTest, CompleteDescriptorAnswersEveryQuery) {
  write(dataFile("package.xml"));
  EXPECT_EQ(answers(), kDataFileAnswers);
}

TEST_F(SoftwareComponentInfoTest, ConstructionLogsTheEndOfParsing) {
  write(dataFile("package.xml"));
  EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }), logged({"Init() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, ConstructionWithoutDescriptorLogsNothing) {
  EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }), kNothing);
}

TEST_F(SoftwareComponentInfoTest, ConstructionReportsADescriptorThatDoesNotParse) {
  write("<SoftwareComponent>");
  EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }),
            logged({"Init() Document " + path() + " not parsed successfully ", "Init() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, ParsingAgainSeesTheFileAsItIsThen) {
  CSoftwareComponentInfo reader;
  write("<SoftwareComponent>");
  EXPECT_EQ(logOf([&reader] { reader.ParseXMl(); }),
            logged({"Init() Document " + path() + " not parsed successfully ", "Init() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, ConstructionTurnsKeepingOfBlanksOffEvenWithoutDescriptor) {
  xmlKeepBlanksDefault(1);
  const CSoftwareComponentInfo reader;
  EXPECT_EQ(xmlKeepBlanksDefault(0), 0);
}

TEST_F(SoftwareComponentInfoTest, LogNamesTheReadersSource) {
  write(dataFile("package.xml"));
  const LogCapture log;
  answers();
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.source, "cm_CMBaseUtils/src/SoftwareComponentInfo.cpp") << line.message;
  }
  EXPECT_FALSE(log.lines().empty());
}

// ---- The marker file ----

/// A logger that has not been started takes the process's place while the test runs.
class MarkerFileTest : public SoftwareComponentInfoTest {
 protected:
  MarkerFileTest() : m_before(CLogger::m_ptrInstance) {
    CLogger::m_ptrInstance = &m_logger;
    write(dataFile("package.xml"));
  }
  ~MarkerFileTest() override { CLogger::m_ptrInstance = m_before; }

  static void writeMarker() { writeFile("enabledebug.txt", ""); }
  static Lines baseLog() { return messages(readFile("baseutils.log")); }

 private:
  CLogger m_logger;
  CLogger* m_before;
};

TEST_F(MarkerFileTest, LogStaysOffWithoutMarker) {
  CSoftwareComponentInfo().GetComponentID();
  EXPECT_FALSE(std::filesystem::exists("baseutils.log"));
}

TEST_F(MarkerFileTest, FirstConstructionEmptiesAndStartsTheLogBeforeItsFirstLine) {
  writeMarker();
  writeFile("baseutils.log", "lines of an earlier run\n");
  const CSoftwareComponentInfo reader;
  EXPECT_EQ(baseLog(), logged({"Init() Exiting"}));
}

TEST_F(MarkerFileTest, SecondConstructionSilencesTheLogForGood) {
  writeMarker();
  CSoftwareComponentInfo reader;
  reader.GetComponentID();
  const Lines firstLines = logged({"Init() Exiting", "GetNodeSet() Exiting", "ParseXmlUsingXpath() Exiting"});
  EXPECT_EQ(baseLog(), firstLines);
  const CSoftwareComponentInfo second;
  reader.GetComponentID();
  const CSoftwareComponentInfo third;
  EXPECT_EQ(baseLog(), firstLines);
}

TEST_F(MarkerFileTest, LogThatIsOpenAlreadyIsSilencedAndNoSecondOneMade) {
  CLogger::GetInstance()->Initialize("debug.log");
  CSoftwareComponentInfo().GetComponentID();
  const std::string before = readFile("debug.log");
  writeMarker();
  CSoftwareComponentInfo().GetComponentID();
  EXPECT_EQ(readFile("debug.log"), before);
  EXPECT_EQ(messages(before),
            logged({"Init() Exiting", "GetNodeSet() Exiting", "ParseXmlUsingXpath() Exiting"}));
  EXPECT_FALSE(std::filesystem::exists("baseutils.log"));
}

TEST_F(MarkerFileTest, MarkerThatComesLaterStartsTheLogWithTheNextReader) {
  CSoftwareComponentInfo reader;
  writeMarker();
  reader.GetComponentID();
  EXPECT_FALSE(std::filesystem::exists("baseutils.log"));
  const CSoftwareComponentInfo second;
  EXPECT_EQ(baseLog(), logged({"Init() Exiting"}));
}

// ---- Selecting ----

TEST_F(SoftwareComponentInfoTest, SelectionWithAnExpressionParsesAfreshAndReturnsTheNodes) {
  CSoftwareComponentInfo reader;
  write(dataFile("package.xml"));
  EXPECT_EQ(logOf([&reader] {
              EXPECT_EQ(namesOf(Selection(reader.ParseXmlUsingXpath("//ComponentType | //Name"))),
                        (Lines{"Name", "ComponentType"}));
            }),
            logged({"GetNodeSet() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, SelectionWithoutAnExpressionReturnsTheDevices) {
  write(dataFile("package.xml"));
  CSoftwareComponentInfo reader;
  EXPECT_EQ(logOf([&reader] {
              EXPECT_EQ(namesOf(Selection(reader.ParseXmlUsingXpath())), (Lines{"Device", "Device"}));
            }),
            logged({"GetNodeSet() Exiting", "ParseXmlUsingXpath() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, SelectionOfNothingIsNullAndLogged) {
  write(dataFile("package.xml"));
  CSoftwareComponentInfo reader;
  const Lines empty = logged({"GetNodeSet() Empty nodeset"});
  const Lines failed = logged({"GetNodeSet() Error in xmlXPathEvalExpression"});
  const std::vector<std::pair<const char*, Lines>> rows{
      {"//Nothing", empty}, {"count(//Device)", empty}, {"//[", failed}, {"", failed}, {nullptr, failed}};
  for (const auto& [expression, expected] : rows) {
    const auto select = [&reader, text = expression] { return Selection(reader.ParseXmlUsingXpath(text)); };
    EXPECT_EQ(logOf([&select] { EXPECT_EQ(select(), nullptr); }), expected) << textOrNull(expression);
  }
}

TEST_F(SoftwareComponentInfoTest, DefaultSelectionOfNothingIsNullAndLogged) {
  write("<SoftwareComponent/>");
  CSoftwareComponentInfo reader;
  EXPECT_EQ(logOf([&reader] { EXPECT_EQ(Selection(reader.ParseXmlUsingXpath()), nullptr); }),
            logged({"GetNodeSet() Empty nodeset", "ParseXmlUsingXpath() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, SelectionWithoutDescriptorIsNullAndSilent) {
  CSoftwareComponentInfo reader;
  EXPECT_EQ(logOf([&reader] {
              EXPECT_EQ(Selection(reader.ParseXmlUsingXpath("//Device")), nullptr);
              EXPECT_EQ(Selection(reader.ParseXmlUsingXpath()), nullptr);
            }),
            kNothing);
}

TEST_F(SoftwareComponentInfoTest, SelectionOutlivesADefaultSelectionThatFindsNoDescriptor) {
  write(dataFile("package.xml"));
  CSoftwareComponentInfo reader;
  const Selection devices(reader.ParseXmlUsingXpath());
  std::filesystem::remove("package.xml");
  EXPECT_EQ(Selection(reader.ParseXmlUsingXpath()), nullptr);
  EXPECT_EQ(textOrNull(reader.GetAttributeValue(libxml::nodes(devices)[0], "componentID")), "100");
}

TEST_F(SoftwareComponentInfoTest, SelectionsOnAForeignDocumentDifferInTheirLinesOnly) {
  CSoftwareComponentInfo reader;
  const libxml::Owned<xmlDoc> document(xmlParseMemory("<a><b/></a>", 11));
  struct Row {
    const char* expression;
    Lines nodes, lines, otherLines;
  };
  const std::string other = "CIdentityModuleInventory::getnodeset :: ";
  const std::vector<Row> rows{
      {"//b", {"b"}, logged({"GetNodeSet() Exiting"}), {}},
      {"//c", {}, logged({"GetNodeSet() Empty nodeset"}), {}},
      {"1", {}, logged({"GetNodeSet() Empty nodeset"}), {}},
      {"//[",
       {},
       logged({"GetNodeSet() Error in xmlXPathEvalExpression"}),
       {other + "Error in xmlXPathEvalExpression"}},
  };
  for (const auto& [expression, nodes, lines, otherLines] : rows) {
    Selection one;
    Selection two;
    const auto select = [&, text = expression] { one.reset(reader.GetNodeSet(document.get(), text)); };
    const auto selectToo = [&, text = expression] { two.reset(reader.getnodeset(document.get(), text)); };
    EXPECT_EQ(logOf(select), lines) << expression;
    EXPECT_EQ(logOf(selectToo), otherLines) << expression;
    EXPECT_EQ(namesOf(one), nodes) << expression;
    EXPECT_EQ(namesOf(two), nodes) << expression;
    EXPECT_EQ(one == nullptr, nodes.empty()) << expression;
    EXPECT_EQ(two == nullptr, nodes.empty()) << expression;
  }
}

TEST_F(SoftwareComponentInfoTest, SelectionOnNoDocumentIsNull) {
  CSoftwareComponentInfo reader;
  EXPECT_EQ(Selection(reader.GetNodeSet(nullptr, "//a")), nullptr);
  EXPECT_EQ(Selection(reader.getnodeset(nullptr, "//a")), nullptr);
}

TEST_F(SoftwareComponentInfoTest, AttributeValueIsNullOnlyWhenItIsAbsent) {
  write(R"(<!DOCTYPE a [<!ENTITY e "x"><!ATTLIST a preset CDATA "p" implied CDATA #IMPLIED>]>
           <a full="v" empty="" escaped="&lt;&amp;&#65;" cut="1&e;2" blank=" "/>)");
  CSoftwareComponentInfo reader;
  const Selection selection(reader.ParseXmlUsingXpath("/a"));
  ASSERT_NE(selection, nullptr);
  const std::vector<std::pair<const char*, std::string>> rows{
      {"full", "v"},  {"empty", ""},         {"escaped", "<&A"},    {"cut", "1"},
      {"blank", " "}, {"preset", "(null)"},  {"implied", "(null)"}, {"Full", "(null)"},
      {"", "(null)"}, {"missing", "(null)"}, {nullptr, "(null)"}};
  for (const auto& [name, expected] : rows) {
    EXPECT_EQ(textOrNull(reader.GetAttributeValue(libxml::nodes(selection)[0], name)), expected)
        << textOrNull(name);
  }
  EXPECT_EQ(reader.GetAttributeValue(nullptr, "full"), nullptr);
}

// ---- Component queries ----

TEST_F(SoftwareComponentInfoTest, ComponentIdIsTheLastDevicesAndTheListHasAll) {
  const auto ids = [] {
    CSoftwareComponentInfo reader;
    return Lines{reader.GetComponentID()} + reader.GetComponentIDS();
  };
  const std::vector<Reading<Lines>> readings{
      {"two", supporting("<Device componentID='1'/><Device componentID='2'/>"), {"2", "1", "2"}},
      {"last without", supporting("<Device componentID='1'/><Device/>"), {"", "1", ""}},
      {"empty", supporting("<Device componentID=''/>"), {"", ""}},
      {"first without", supporting("<Device/><Device componentID='1'/>"), {"1", "", "1"}},
      {"two components", "<a>" + device("") + device("") + "</a>", {"100", "100", "100"}},
      {"device elsewhere", "<SoftwareComponent><Device componentID='1'/></SoftwareComponent>", {""}},
      {"device further down", supporting("<a><Device componentID='1'/></a>"), {""}},
      {"element in another letter case", supporting("<device componentID='1'/>"), {""}},
      {"attribute in another letter case", supporting("<Device componentid='1'/>"), {"", ""}},
      {"no device", supporting(""), {""}},
  };
  expectReadings(ids, readings);
}

TEST_F(SoftwareComponentInfoTest, ComponentTypeIsTheLastComponentTypesValue) {
  const auto type = [] { return Lines{CSoftwareComponentInfo().GetComponentType()}; };
  const auto component = [](const std::string& content) {
    return "<a><SoftwareComponent>" + content + "</SoftwareComponent></a>";
  };
  const std::vector<Reading<Lines>> readings{
      {"one", component("<ComponentType value='FRMW'/>"), {"FRMW"}},
      {"two", component("<ComponentType value='A'/><ComponentType value='B'/>"), {"B"}},
      {"last without", component("<ComponentType value='A'/><ComponentType/>"), {""}},
      {"last one empty", component("<ComponentType value='A'/><ComponentType value=''/>"), {""}},
      {"further down", component("<b><ComponentType value='A'/></b>"), {""}},
      {"other letter case", component("<componentType value='A'/>"), {""}},
      {"none", component(""), {""}},
  };
  expectReadings(type, readings);
}

TEST_F(SoftwareComponentInfoTest, ComponentVersionIsTheLastComponentsVendorVersion) {
  const auto version = [] { return Lines{CSoftwareComponentInfo().GetComponentVersion()}; };
  const std::vector<Reading<Lines>> readings{
      {"root", "<SoftwareComponent vendorVersion='1'/>", {"1"}},
      {"further down", "<a><b><SoftwareComponent vendorVersion='1'/></b></a>", {"1"}},
      {"two", "<a><SoftwareComponent vendorVersion='1'/><SoftwareComponent vendorVersion='2'/></a>", {"2"}},
      {"one in another",
       "<SoftwareComponent vendorVersion='1'><a><SoftwareComponent vendorVersion='2'/>"
       "</a></SoftwareComponent>",
       {"2"}},
      {"last without", "<a><SoftwareComponent vendorVersion='1'/><SoftwareComponent/></a>", {""}},
      {"other letter case", "<softwareComponent vendorVersion='1'/>", {""}},
      {"none", "<a vendorVersion='1'/>", {""}},
  };
  expectReadings(version, readings);
}

TEST_F(SoftwareComponentInfoTest, DisplayStringIsTheFirstDisplayThatIsAFirstChildElement) {
  const auto display = [] { return Lines{CSoftwareComponentInfo().GetComponentDisplayString()}; };
  const std::vector<Reading<Lines>> readings{
      {"first child", device("<Display>A</Display><PCIInfo/>"), {"A"}},
      {"letter case", device("<DISPLAY>A</DISPLAY>"), {"A"}},
      {"behind text, comment and instruction",
       device("text<!--c--><?Display B?><Display>A</Display>"),
       {"A"}},
      {"second child", device("<PCIInfo/><Display>A</Display>"), {""}},
      {"second device",
       supporting("<Device><a/><Display>A</Display></Device><Device/>"
                  "<Device><Display>B</Display></Device>"),
       {"B"}},
      {"two devices",
       supporting("<Device><Display>A</Display></Device>"
                  "<Device><Display>B</Display></Device>"),
       {"A"}},
      {"first one without text",
       supporting("<Device><Display/></Device>"
                  "<Device><Display>B</Display></Device>"),
       {""}},
      {"CDATA", device("<Display><![CDATA[A & B]]></Display>"), {"A & B"}},
      {"comment first", device("<Display><!--c-->A</Display>"), {"c"}},
      {"text up to an element", device("<Display>A <b>B</b></Display>"), {"A "}},
      {"element first", device("<Display><b>B</b></Display>"), {""}},
      {"grandchild", device("<a><Display>A</Display></a>"), {""}},
      {"no device", supporting(""), {""}},
  };
  expectReadings(display, readings);
}

TEST_F(SoftwareComponentInfoTest, DisplayStringIsLoggedWithALineBreak) {
  write(device("<Display>A</Display>"));
  CSoftwareComponentInfo reader;
  EXPECT_EQ(
      logOf([&reader] { reader.GetComponentDisplayString(); }),
      logged({"GetNodeSet() Exiting", "ParseXmlUsingXpath() Exiting", "GetComponentDisplayString()  A\n"}));
}

TEST_F(SoftwareComponentInfoTest, DisplayWithoutTextIsLogged) {
  write(device("<Display></Display>"));
  CSoftwareComponentInfo reader;
  EXPECT_EQ(
      logOf([&reader] { reader.GetComponentDisplayString(); }),
      logged({"GetNodeSet() Exiting", "ParseXmlUsingXpath() Exiting",
              "GetComponentDisplayString() failed to get the Display info from package.xml for device"}));
}

/// A query and the lines that it logs of the complete descriptor, of an unusable one and of none.
struct SimpleQuery {
  const char* name;
  std::function<void(CSoftwareComponentInfo&)> ask;
  Lines complete;
  Lines unusable;
  Lines missing;
};

TEST_F(SoftwareComponentInfoTest, ComponentQueriesLogTheirSelections) {
  const Lines found = logged({"GetNodeSet() Exiting"});
  const Lines empty = logged({"GetNodeSet() Empty nodeset"});
  const Lines evaluated = logged({"ParseXmlUsingXpath() Exiting"});
  const std::vector<SimpleQuery> queries{
      {"id", [](auto& reader) { reader.GetComponentID(); }, found + evaluated, empty + evaluated, {}},
      {"ids", [](auto& reader) { reader.GetComponentIDS(); }, found + evaluated, empty + evaluated, {}},
      {"display",
       [](auto& reader) { reader.GetComponentDisplayString(); },
       found + evaluated + logged({"GetComponentDisplayString()  Example SSD 100\n"}),
       empty + evaluated,
       {}},
      {"type", [](auto& reader) { reader.GetComponentType(); }, found, empty, empty},
      {"version", [](auto& reader) { reader.GetComponentVersion(); }, found, empty, empty},
  };
  CSoftwareComponentInfo reader;
  for (const SimpleQuery& query : queries) {
    const auto ask = [&] { query.ask(reader); };
    write(dataFile("package.xml"));
    EXPECT_EQ(logOf(ask), query.complete) << query.name;
    write("<Other/>");
    EXPECT_EQ(logOf(ask), query.unusable) << query.name;
    write("<SoftwareComponent>");
    EXPECT_EQ(logOf(ask), query.unusable) << query.name;
    std::filesystem::remove("package.xml");
    EXPECT_EQ(logOf(ask), query.missing) << query.name;
  }
}

TEST_F(SoftwareComponentInfoTest, EveryQueryReadsTheFileAgain) {
  CSoftwareComponentInfo reader;
  EXPECT_EQ(reader.GetComponentVersion(), "");
  write("<SoftwareComponent vendorVersion='1'/>");
  EXPECT_EQ(reader.GetComponentVersion(), "1");
  write("<SoftwareComponent vendorVersion='2'/>");
  EXPECT_EQ(reader.GetComponentVersion(), "2");
  std::filesystem::remove("package.xml");
  EXPECT_EQ(reader.GetComponentVersion(), "");
}

TEST_F(SoftwareComponentInfoTest, QueriesReadTheDescriptorOfTheFolderOfConstruction) {
  write(device(""));
  CSoftwareComponentInfo reader;
  const WorkingFolder other;
  EXPECT_EQ(reader.GetComponentVersion(), "");
  EXPECT_EQ(reader.GetComponentIDS(), kNothing) << "no descriptor in the working directory";
  write(supporting("<Device componentID='other'/>"));
  EXPECT_EQ(reader.GetComponentIDS(), Lines{"100"});
}

// ---- Supported devices ----

TEST_F(SoftwareComponentInfoTest, IdsAreFilledWithZerosToFourCharacters) {
  const std::vector<Reading<Lines>> readings{
      {"shorter", device(pciInfo("a8", "1", "8086", "")), {"100|00a8|0001|8086|0000|"}},
      {"longer",
       device(pciInfo("12345", "0xa808", "  a", "ABCDEFABCDEF")),
       {"100|12345|0xa808|0  a|ABCDEFABCDEF|"}},
      {"letter case and other characters",
       device(pciInfo("aBcD", "xyz", "?", "-1")),
       {"100|aBcD|0xyz|000?|00-1|"}},
      {"no attribute", device("<PCIInfo/>"), {"100|||||"}},
      {"names in another letter case", device("<PCIInfo deviceid='1' VENDORID='2'/>"), {"100|||||"}},
      {"attributes named like other fields",
       device("<PCIInfo componentID='9' displayName='9' deviceID='1'/>"),
       {"100|0001||||"}},
  };
  expectReadings(supported, readings);
}

TEST_F(SoftwareComponentInfoTest, EveryPciInfoElementOfADeviceIsAnEntry) {
  const std::string one = pciInfo("1111", "2222", "3333", "4444");
  const Lines entry{"100|1111|2222|3333|4444|"};
  const std::vector<Reading<Lines>> readings{
      {"letter case", device(replaced(one, "PCIInfo", "pciinfo")), entry},
      {"between others", device("text<a/>" + one + "<b/><!--PCIInfo-->"), entry},
      {"two", device(one + one), entry + entry},
      {"further down", device("<a>" + one + "</a>"), kNothing},
      {"in a dependency", device("<Dependency>" + one + "</Dependency>"), kNothing},
      {"instruction, comment, CDATA and text",
       device("<?PCIInfo deviceID='1'?><!--" + one + "--><![CDATA[" + one + "]]>PCIInfo"), kNothing},
      {"longer name", device("<PCIInfos/><PCIInf/>"), kNothing},
      {"device elsewhere", "<SoftwareComponent><Device>" + one + "</Device></SoftwareComponent>", kNothing},
      {"two lists", "<a>" + device(one) + device(one) + "</a>", entry + entry},
  };
  expectReadings(supported, readings);
}

TEST_F(SoftwareComponentInfoTest, WhatAnEntryDoesNotSupplyIsCarriedOver) {
  const std::string first =
      "<Device componentID='1'>" + pciInfo("1111", "2222", "3333", "4444") + "<Display>A</Display></Device>";
  const std::string entry = "1|1111|2222|3333|4444|A";
  const auto behind = [&first](const std::string& more) { return supporting(first + more); };
  const std::vector<Reading<Lines>> readings{
      {"within a device",
       device(pciInfo("1111", "2222", "3333", "4444") + "<PCIInfo deviceID='a'/>"),
       {"100|1111|2222|3333|4444|", "100|000a|2222|3333|4444|"}},
      {"to the next device",
       behind("<Device componentID='2'><PCIInfo subVendorID='b'/></Device>"),
       {entry, "2|1111|2222|3333|000b|A"}},
      {"across a device without entries",
       behind("<Device componentID='2'><Display>B</Display></Device>"
              "<Device componentID='3'><PCIInfo/></Device>"),
       {entry, "3|1111|2222|3333|4444|A"}},
      {"not the component id", behind("<Device><PCIInfo/></Device>"), {entry, "|1111|2222|3333|4444|A"}},
      {"empty attributes are supplied",
       behind("<Device componentID=''>" + pciInfo("", "", "", "") + "</Device>"),
       {entry, "|0000|0000|0000|0000|A"}},
      {"a later name",
       behind("<Device componentID='2'><PCIInfo/><Display>B</Display></Device>"),
       {entry, "2|1111|2222|3333|4444|B"}},
  };
  expectReadings(supported, readings);
}

TEST_F(SoftwareComponentInfoTest, DisplayNameIsTheFirstDisplayWithTextBehindTheEntry) {
  const std::string pci = pciInfo("1111", "2222", "3333", "4444");
  const auto name = [](const std::string& text) { return Lines{"100|1111|2222|3333|4444|" + text}; };
  const std::vector<Reading<Lines>> readings{
      {"directly behind", device(pci + "<Display>A</Display>"), name("A")},
      {"behind others", device(pci + "<a/>text<!--c--><Display>A</Display>"), name("A")},
      {"letter case", device(pci + "<dISPLAY>A</dISPLAY>"), name("A")},
      {"in front", device("<Display>A</Display>" + pci), name("")},
      {"in front and behind", device("<Display>A</Display>" + pci + "<Display>B</Display>"), name("B")},
      {"two behind", device(pci + "<Display>A</Display><Display>B</Display>"), name("A")},
      {"first without text", device(pci + "<Display/><Display>B</Display>"), name("B")},
      {"first begins with an element", device(pci + "<Display><b/>A</Display><Display>B</Display>"),
       name("B")},
      {"no text at all", device(pci + "<Display></Display>"), name("")},
      {"for both entries", device(pci + pci + "<Display>A</Display>"), name("A") + name("A")},
      {"one for each", device(pci + "<Display>A</Display>" + pci + "<Display>B</Display>"),
       name("A") + name("B")},
      {"inside the entry", device("<PCIInfo><Display>A</Display></PCIInfo>"), {"100|||||"}},
      {"comment with that name", device(pci + "<!--Display--><?Display A?>"), name("")},
      {"CDATA", device(pci + "<Display><![CDATA[<A>]]> B</Display>"), name("<A>")},
      {"comment first", device(pci + "<Display><!-- c -->A</Display>"), name(" c ")},
      {"instruction first", device(pci + "<Display><?i c?>A</Display>"), name("c")},
      {"comment later", device(pci + "<Display>A<!-- c -->B</Display>"), name("A")},
      {"blanks", device(pci + "<Display>  A  </Display>"), name("  A  ")},
      {"escaped characters", device(pci + "<Display>&lt;&amp;&#x41;</Display>"), name("<&A")},
      {"other script", device(pci + "<Display>\xe9\xa9\xb1</Display>"), name("\xe9\xa9\xb1")},
      {"internal entity", withDoctype(device(pci + "<Display>&e; B</Display>"), R"([<!ENTITY e "A">])"),
       name("A")},
  };
  expectReadings(supported, readings);
}

TEST_F(SoftwareComponentInfoTest, SupportedDevicesAreLoggedStepByStep) {
  write(supporting("<Device componentID='1'><a/>" + pciInfo("1", "2", "3", "4") + "<Display/>" +
                   "<Display>A</Display></Device><Device componentID='2'><PCIInfo/></Device>"));
  CSoftwareComponentInfo reader;
  EXPECT_EQ(logOf([&reader] { reader.GetSupportedDevices(); }),
            logged({"GetNodeSet() Exiting", "GetSupportedDevices() Found Some Device Nodes",
                    "GetSupportedDevices() Finding the Component ID and PCI Info",
                    "GetSupportedDevices() Found a PCI Device",
                    "GetSupportedDevices() Found a Display element under Device element",
                    "GetSupportedDevices() Found a Display element under Device element",
                    "GetSupportedDevices() Got the marketing name/Display name for a PCI Device as A",
                    "GetSupportedDevices() Finding the Component ID and PCI Info",
                    "GetSupportedDevices() Found a PCI Device", "GetSupportedDevices() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, NoSupportedDevicesAreLogged) {
  const Lines failed = logged(
      {"GetSupportedDevices() Error during calculating xpath expression", "GetSupportedDevices() Exiting"});
  const Lines empty = logged({"GetNodeSet() Empty nodeset"});
  CSoftwareComponentInfo reader;
  const auto ask = [&reader] { EXPECT_TRUE(reader.GetSupportedDevices().empty()); };
  EXPECT_EQ(logOf(ask), failed) << "no descriptor";
  write(supporting(""));
  EXPECT_EQ(logOf(ask), empty + failed) << "no device";
  write("<SoftwareComponent>");
  EXPECT_EQ(logOf(ask), empty + failed) << "does not parse";
}

TEST_F(SoftwareComponentInfoTest, ThousandsOfDevicesAreAllEntries) {
  std::string devices;
  for (int i = 0; i < 5000; ++i) {
    devices += "<Device componentID='" + std::to_string(i) + "'><PCIInfo deviceID='" +
               std::to_string(1000 + i) + "'/><Display>D" + std::to_string(i) + "</Display></Device>";
  }
  write(supporting(devices));
  const Lines entries = supported();
  ASSERT_EQ(entries.size(), 5000U);
  EXPECT_EQ(entries.back(), "4999|5999||||D4999");
}

// ---- Marketing names ----

TEST_F(SoftwareComponentInfoTest, MarketingNameNeedsAllFourIdsLetterCaseAside) {
  write(device(pciInfo("a808", "0a54", "144D", "144e") + "<Display>A</Display>"));
  struct Row {
    SPCIInfo drive;
    std::string name;
  };
  const std::vector<Row> rows{
      {drive("a808", "0a54", "144d", "144e"), "A"},
      {drive("A808", "0A54", "144D", "144E"), "A"},
      {{"other", "a808", "0a54", "144d", "144e", "other"}, "A"},
      {drive("a809", "0a54", "144d", "144e"), ""},
      {drive("a808", "0a55", "144d", "144e"), ""},
      {drive("a808", "0a54", "144f", "144e"), ""},
      {drive("a808", "0a54", "144d", "144f"), ""},
      {drive("a808", "a54", "144d", "144e"), ""},
      {drive("0a54", "a808", "144d", "144e"), ""},
      {drive("a808", "0a54", "144d", ""), ""},
      {drive("", "", "", ""), ""},
      {drive("a808 ", "0a54", "144d", "144e"), ""},
  };
  for (const auto& [asked, name] : rows) EXPECT_EQ(marketingName(asked), name) << describe(asked);
}

TEST_F(SoftwareComponentInfoTest, LastMatchGivesTheMarketingName) {
  const std::string pci = pciInfo("1111", "2222", "3333", "4444");
  const SPCIInfo asked = drive("1111", "2222", "3333", "4444");
  write(supporting("<Device>" + pci + "<Display>A</Display></Device><Device>" + pci +
                   "<Display>B</Display></Device>"));
  EXPECT_EQ(marketingName(asked), "B");
  write(supporting("<Device>" + pci + "<Display>A</Display></Device><Device>" + pci + "</Device>"));
  EXPECT_EQ(marketingName(asked), "A") << "the name is carried over";
  write(supporting("<Device>" + pci + "</Device>"));
  EXPECT_EQ(marketingName(asked), "") << "a match without a name";
}

TEST_F(SoftwareComponentInfoTest, EntryWithoutIdsNamesADriveWithoutIds) {
  write(device("<PCIInfo/><Display>A</Display>"));
  EXPECT_EQ(marketingName(drive("", "", "", "")), "A");
  EXPECT_EQ(marketingName(drive("0000", "0000", "0000", "0000")), "");
}

TEST_F(SoftwareComponentInfoTest, AskingLeavesTheDriveAsItIs) {
  write(device("<PCIInfo/><Display>A</Display>"));
  CSoftwareComponentInfo reader;
  SPCIInfo asked{"c", "", "", "", "", "n"};
  EXPECT_EQ(reader.getMarketingNameForPCIDevice(asked), "A");
  EXPECT_EQ(describe(asked), "c|||||n");
}

TEST_F(SoftwareComponentInfoTest, EveryComparisonAndMatchIsLogged) {
  write(device("<PCIInfo/><PCIInfo deviceID='1'/><PCIInfo deviceID='0001'/>"));
  CSoftwareComponentInfo reader;
  SPCIInfo asked = drive("0001", "", "", "");
  const Lines entries = logOf([&reader] { reader.GetSupportedDevices(); });
  EXPECT_EQ(
      logOf([&] { reader.getMarketingNameForPCIDevice(asked); }),
      entries + logged({"getMarketingNameForPCIDevice() Finding a match with PCI Device",
                        "getMarketingNameForPCIDevice() Finding a match with PCI Device",
                        "getMarketingNameForPCIDevice() Found a match with PCI Devices from package.xml",
                        "getMarketingNameForPCIDevice() Finding a match with PCI Device",
                        "getMarketingNameForPCIDevice() Found a match with PCI Devices from package.xml",
                        "getMarketingNameForPCIDevice() Exiting"}));
}

TEST_F(SoftwareComponentInfoTest, NoDescriptorGivesNoMarketingName) {
  CSoftwareComponentInfo reader;
  SPCIInfo asked = drive("", "", "", "");
  EXPECT_EQ(logOf([&] { EXPECT_EQ(reader.getMarketingNameForPCIDevice(asked), ""); }),
            logged({"GetSupportedDevices() Error during calculating xpath expression",
                    "GetSupportedDevices() Exiting", "getMarketingNameForPCIDevice() Exiting"}));
}

// ---- Dependencies ----

constexpr char kFullAttributes[] =
    R"(componentID="900" componentType="APAC" version="1.1" path="tools\update" releaseID="R900")";

std::string hard(const std::string& content, const std::string& attributes = kFullAttributes) {
  return "<Dependency " + attributes + ">" + content + "</Dependency>";
}

std::string soft(const std::string& content, const std::string& attributes = kFullAttributes) {
  return "<SoftDependency " + attributes + ">" + content + "</SoftDependency>";
}

/// The description of a record with the full attributes.
std::string full(const std::string& kind, const std::string& more) {
  return kind + " parent=100 id=900 type=APAC version=1.1 path=tools/update release=R900" + more;
}

TEST_F(SoftwareComponentInfoTest, DependencyWithoutPciInfoIsOneNonPciRecord) {
  const std::vector<Reading<Lines>> readings{
      {"hard", device(hard("")), {full("nonpci", "")}},
      {"soft", device(soft("")), {full("nonpci dependency=2", "")}},
      {"texts",
       device(hard("<Display>A</Display><Detail>B</Detail>")),
       {full("nonpci", " display=A detail=B")}},
      {"PCIInfo further down", device(hard("<a><PCIInfo/></a>")), {full("nonpci", "")}},
      {"instruction and comment",
       device(hard("<?PCIInfo a?><!--PCIInfo--><?Display A?>")),
       {full("nonpci", "")}},
      {"no attributes", device(hard("", "")), {"nonpci parent=100"}},
      {"empty attributes", device(hard("", "componentID='' path=''")), {"nonpci parent=100"}},
      {"no parent id", supporting("<Device>" + hard("", "") + "</Device>"), {"nonpci"}},
  };
  expectReadings(dependencies, readings);
}

TEST_F(SoftwareComponentInfoTest, DependencyYieldsOneRecordForEachPciInfo) {
  const std::string two = pciInfo("1", "2", "3", "4") + pciInfo("5", "6", "7", "8");
  const std::vector<Reading<Lines>> readings{
      {"hard", device(hard(two)), {full("pci", " pci=|1|2|3|4|"), full("pci", " pci=|5|6|7|8|")}},
      {"soft",
       device(soft(two)),
       {full("pci dependency=2", " pci=|1|2|3|4|"), full("pci dependency=2", " pci=|5|6|7|8|")}},
      {"texts behind",
       device(hard(two + "<Display>A</Display><Detail>B</Detail>")),
       {full("pci", " display=A detail=B pci=|1|2|3|4|"), full("pci", " display=A detail=B pci=|5|6|7|8|")}},
      {"letter case",
       device(hard(replaced(pciInfo("A", "b", "", "0"), "PCIInfo", "pCIiNFO"))),
       {full("pci", " pci=|A|b||0|")}},
      {"without ids", device(hard("<PCIInfo/>")), {full("pci", "")}},
  };
  expectReadings(dependencies, readings);
}

TEST_F(SoftwareComponentInfoTest, IdsOfDependenciesAreCarriedOverAsTheyStand) {
  const std::string first = pciInfo("1", "2", "3", "4");
  const auto other = [](const std::string& id, const std::string& content) {
    return hard(content, "componentID='" + id + "'");
  };
  const std::vector<Reading<Lines>> readings{
      {"within a dependency",
       device(other("1", first + "<PCIInfo vendorID='a'/>")),
       {"pci parent=100 id=1 pci=|1|2|3|4|", "pci parent=100 id=1 pci=|1|2|a|4|"}},
      {"to the next dependency",
       device(other("1", first) + other("2", "<PCIInfo deviceID=''/>")),
       {"pci parent=100 id=1 pci=|1|2|3|4|", "pci parent=100 id=2 pci=||2|3|4|"}},
      {"to the next device",
       supporting("<Device>" + other("1", first) + "</Device><Device>" + other("2", "<PCIInfo/>") +
                  "</Device>"),
       {"pci id=1 pci=|1|2|3|4|", "pci id=2 pci=|1|2|3|4|"}},
      {"not to a dependency without PCIInfo",
       device(other("1", first) + other("2", "") + other("3", "<PCIInfo/>")),
       {"pci parent=100 id=1 pci=|1|2|3|4|", "nonpci parent=100 id=2", "pci parent=100 id=3 pci=|1|2|3|4|"}},
      {"not the texts",
       device(other("1", "<Display>A</Display><Detail>B</Detail>") + other("2", "")),
       {"nonpci parent=100 id=1 display=A detail=B", "nonpci parent=100 id=2"}},
  };
  expectReadings(dependencies, readings);
}

TEST_F(SoftwareComponentInfoTest, TextsOfADependencyAreTheFirstTextsOfItsLastElements) {
  const auto texts = [](const std::string& expected) { return Lines{"nonpci parent=100" + expected}; };
  const auto with = [](const std::string& content) { return device(hard(content, "")); };
  const std::vector<Reading<Lines>> readings{
      {"letter case", with("<DISPLAY>A</DISPLAY><detail>B</detail>"), texts(" display=A detail=B")},
      {"two of each", with("<Display>A</Display><Detail>B</Detail><Display>C</Display><Detail>D</Detail>"),
       texts(" display=C detail=D")},
      {"later ones without text", with("<Display>A</Display><Detail>B</Detail><Display/><Detail/>"),
       texts(" display=A detail=B")},
      {"comment first", with("<Display><!--c-->A</Display>"), texts(" display=c")},
      {"CDATA", with("<Detail><![CDATA[<B>]]></Detail>"), texts(" detail=<B>")},
      {"element first", with("<Display><b>A</b></Display>"), texts("")},
      {"further down", with("<a><Display>A</Display></a>"), texts("")},
  };
  expectReadings(dependencies, readings);
}

TEST_F(SoftwareComponentInfoTest, DependenciesComeInDocumentOrder) {
  const auto named = [](const std::string& element, const std::string& id) {
    return "<" + element + " componentID='" + id + "'/>";
  };
  const std::vector<Reading<Lines>> readings{
      {"soft before hard",
       supporting("<Device>" + named("SoftDependency", "1") + named("Dependency", "2") +
                  named("SoftDependency", "3") + "</Device><Device>" + named("Dependency", "4") +
                  "</Device>"),
       {"nonpci dependency=2 id=1", "nonpci id=2", "nonpci dependency=2 id=3", "nonpci id=4"}},
      {"not in other places",
       "<SoftwareComponent>" + named("Dependency", "1") + "<SupportedDevices>" + named("Dependency", "2") +
           "<Device><a>" + named("Dependency", "3") + "</a>" + named("dependency", "4") +
           named("softDependency", "5") + "</Device></SupportedDevices></SoftwareComponent>",
       kNothing},
  };
  expectReadings(dependencies, readings);
}

TEST_F(SoftwareComponentInfoTest, EqualDependenciesAreKeptOnce) {
  const auto inTwoDevices = [](const std::string& one, const std::string& two) {
    return supporting("<Device componentID='1'>" + one + "</Device><Device componentID='2'>" + two +
                      "</Device>");
  };
  const std::string pci = pciInfo("1", "2", "3", "4");
  const auto count = [] { return Lines{std::to_string(dependencies().size())}; };
  const std::vector<Reading<Lines>> readings{
      {"under two devices", inTwoDevices(hard(""), hard("")), {"1"}},
      {"other release", inTwoDevices(hard("", "releaseID='1'"), hard("", "releaseID='2'")), {"1"}},
      {"slashes and backslashes", inTwoDevices(hard("", "path='a/b'"), hard("", R"(path='a\b')")), {"2"}},
      {"hard and soft", inTwoDevices(hard(""), soft("")), {"2"}},
      {"letter case", inTwoDevices(hard("", "version='a'"), hard("", "version='A'")), {"2"}},
      {"other component", inTwoDevices(hard("", "componentID='1'"), hard("", "componentID='2'")), {"2"}},
      {"other type", inTwoDevices(hard("", "componentType='1'"), hard("", "componentType='2'")), {"2"}},
      {"other display", inTwoDevices(hard(""), hard("<Display>A</Display>")), {"2"}},
      {"other detail", inTwoDevices(hard(""), hard("<Detail>A</Detail>")), {"2"}},
      {"same PCIInfo twice", inTwoDevices(hard(pci + pci), ""), {"1"}},
      {"same PCIInfo under two devices", inTwoDevices(hard(pci), hard(pci)), {"1"}},
      {"other PCIInfo", inTwoDevices(hard(pci), hard(pciInfo("1", "2", "3", "5"))), {"2"}},
      {"PCIInfo without ids and none", inTwoDevices(hard(""), hard("<PCIInfo/>")), {"1"}},
  };
  expectReadings(count, readings);
}

TEST_F(SoftwareComponentInfoTest, FirstOfEqualDependenciesIsKept) {
  write(
      supporting("<Device componentID='1'><Dependency releaseID='R1'/></Device>"
                 "<Device componentID='2'><Dependency releaseID='R2'><PCIInfo/></Dependency></Device>"));
  EXPECT_EQ(dependencies(), Lines{"nonpci parent=1 release=R1"});
}

Lines dependencyLogged(std::initializer_list<std::string> lines) {
  return prefixed("CSoftwareComponentInfo::getDependencyInfo() ", lines);
}

/// The lines that the reader logs of a descriptor, those before and behind the dependencies left out.
Lines dependencyLog(CSoftwareComponentInfo& reader) {
  Lines lines = logOf([&reader] { take(reader.getDependencyInfo()); });
  const Lines start = dependencyLogged({"Entered Method"}) + logged({"GetNodeSet() Exiting"});
  const Lines end = dependencyLogged({"Exiting"});
  if (lines.size() < 3 || Lines(lines.begin(), lines.begin() + 2) != start || Lines{lines.back()} != end) {
    ADD_FAILURE() << testing::PrintToString(lines);
    return lines;
  }
  return {lines.begin() + 2, lines.end() - 1};
}

TEST_F(SoftwareComponentInfoTest, CompleteDependenciesAreLoggedStepByStep) {
  write(device(soft("<Display>A</Display><Detail>B</Detail>") +
               hard(pciInfo("1", "2", "3", "4") + pciInfo("5", "6", "7", "8"))));
  CSoftwareComponentInfo reader;
  EXPECT_EQ(
      dependencyLog(reader),
      dependencyLogged({"Found SoftDependecny", "got the parent componentID info from package.xml",
                        "Found HardDependency", "got the parent componentID info from package.xml",
                        "Found a PCI Device", "Found a PCI Device", "Adding dependency info for a PCI Device",
                        "Adding dependency info for a PCI Device"}));
}

TEST_F(SoftwareComponentInfoTest, EveryMissingPartOfADependencyIsLogged) {
  write(supporting("<Device><Dependency><Detail/><Display/></Dependency></Device>"));
  CSoftwareComponentInfo reader;
  EXPECT_EQ(
      dependencyLog(reader),
      dependencyLogged({"Found HardDependency", "failed to get the parent componentID info from package.xml",
                        "failed to get the componentID info from package.xml for dependent device",
                        "failed to get the componentType info from package.xml for dependent device",
                        "failed to get the version info from package.xml for dependent device",
                        "failed to get the path info from package.xml for dependent device",
                        "failed to get the releaseID info from package.xml for dependent device",
                        "failed to get the Detail info from package.xml for dependent device",
                        "failed to get the Display info from package.xml for dependent device"}));
}

TEST_F(SoftwareComponentInfoTest, MissingAttributeOfADependencyIsLoggedAlone) {
  CSoftwareComponentInfo reader;
  for (const std::string name : {"componentID", "componentType", "version", "path", "releaseID"}) {
    write(device(hard("", replaced(kFullAttributes, name + "=", "other="))));
    EXPECT_EQ(
        dependencyLog(reader),
        dependencyLogged({"Found HardDependency", "got the parent componentID info from package.xml",
                          "failed to get the " + name + " info from package.xml for dependent device"}));
  }
}

TEST_F(SoftwareComponentInfoTest, EmptyAttributeOfADependencyCountsAsPresent) {
  write(supporting("<Device componentID=''>" +
                   hard("", "componentID='' componentType='' version='' path='' releaseID=''") +
                   "</Device>"));
  CSoftwareComponentInfo reader;
  EXPECT_EQ(dependencyLog(reader),
            dependencyLogged({"Found HardDependency", "got the parent componentID info from package.xml"}));
}

TEST_F(SoftwareComponentInfoTest, DuplicateDependencyIsLogged) {
  const std::string pci = pciInfo("1", "2", "3", "4");
  write(device(hard("") + hard("") + soft(pci) + soft(pci)));
  CSoftwareComponentInfo reader;
  const Lines duplicate = logged({"AddDependencyInfo() Found a duplicate entry"});
  const Lines plain =
      dependencyLogged({"Found HardDependency", "got the parent componentID info from package.xml"});
  const Lines withPci = dependencyLogged(
      {"Found SoftDependecny", "got the parent componentID info from package.xml", "Found a PCI Device"});
  const Lines adding = dependencyLogged({"Adding dependency info for a PCI Device"});
  EXPECT_EQ(dependencyLog(reader),
            plain + plain + duplicate + withPci + adding + withPci + duplicate + adding);
}

TEST_F(SoftwareComponentInfoTest, NoDependenciesAreLogged) {
  CSoftwareComponentInfo reader;
  const auto ask = [&reader] { EXPECT_EQ(take(reader.getDependencyInfo()), kNothing); };
  const Lines entered = dependencyLogged({"Entered Method"});
  const Lines failed = dependencyLogged({"ParseXmlUsingXpath failed"});
  const Lines empty = logged({"GetNodeSet() Empty nodeset"});
  EXPECT_EQ(logOf(ask), entered + failed) << "no descriptor";
  write(device(""));
  EXPECT_EQ(logOf(ask), entered + empty + failed) << "no dependency";
  write("<SoftwareComponent>");
  EXPECT_EQ(logOf(ask), entered + empty + failed) << "does not parse";
}

TEST_F(SoftwareComponentInfoTest, AddingARecordTellsWhoOwnsIt) {
  CSoftwareComponentInfo reader;
  CDeviceInfo first;
  CDeviceInfo equal;
  equal.setStatus(1);
  CDeviceInfo other;
  other.setVersion("1");
  std::vector<CDeviceInfo*> list;
  EXPECT_EQ(logOf([&] {
              EXPECT_TRUE(reader.AddDependencyInfo(list, &first));
              EXPECT_TRUE(reader.AddDependencyInfo(list, &other));
            }),
            kNothing);
  EXPECT_EQ(
      logOf([&] {
        EXPECT_FALSE(reader.AddDependencyInfo(list, &equal));
        EXPECT_FALSE(reader.AddDependencyInfo(list, &other));
      }),
      logged({"AddDependencyInfo() Found a duplicate entry", "AddDependencyInfo() Found a duplicate entry"}));
  EXPECT_EQ(list, (std::vector<CDeviceInfo*>{&first, &other}));
}

// ---- An entry of an inventory document in memory ----

constexpr char kInventory[] =
    R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">)"
    R"(<Device  componentID="1" display="A" ><Application componentType="T" version="1" display="N"/></Device>)"
    R"(<Device  componentID="2" display="B" enum = "3" ><Application componentType="T"/></Device>)"
    R"(<Device  componentID="1" display="C" /><a><Device componentID="3"/></a></SVMInventory>)";

constexpr char kFirstDevice[] =
    "<Device componentID=\"1\" display=\"A\">\n"
    "  <Application componentType=\"T\" version=\"1\" display=\"N\"/>\n"
    "</Device>";
constexpr char kSecondDevice[] =
    "<Device componentID=\"2\" display=\"B\" enum=\"3\">\n"
    "  <Application componentType=\"T\"/>\n"
    "</Device>";
constexpr char kThirdDevice[] = "<Device componentID=\"1\" display=\"C\"/>";

class InventoryEntryTest : public SoftwareComponentInfoTest {
 protected:
  /// What is written of the entries with this id, after "true " or "false ".
  std::string entries(const std::string& componentID, const std::string& document) {
    std::istringstream input(document);
    return entries(componentID, input);
  }

  std::string entries(const std::string& componentID, std::istream& input) {
    std::ostringstream output;
    const bool parsed = m_reader.GetInvFromVNL(componentID, output, input);
    EXPECT_TRUE(output.good());
    return (parsed ? "true " : "false ") + output.str();
  }

  static Lines found() { return {"CIdentityModuleInventory::GetInvFromVNL:: component ID found"}; }
  static Lines notFound() { return {"CIdentityModuleInventory::GetInvFromVNL:: component ID not found"}; }

  CSoftwareComponentInfo m_reader;
};

TEST_F(InventoryEntryTest, MatchingEntryIsWrittenFormatted) {
  EXPECT_EQ(logOf([this] { EXPECT_EQ(entries("2", kInventory), "true " + std::string(kSecondDevice)); }),
            found());
}

TEST_F(InventoryEntryTest, SeveralMatchesAreWrittenWithoutSeparator) {
  EXPECT_EQ(entries("1", kInventory), "true " + std::string(kFirstDevice) + kThirdDevice);
}

TEST_F(InventoryEntryTest, LayoutOfTheInputDoesNotShowInTheOutput) {
  EXPECT_EQ(entries("2", replaced(kInventory, "><", ">\n\n      <")), "true " + std::string(kSecondDevice));
}

TEST_F(InventoryEntryTest, ValuesStayEscapedInTheOutput) {
  EXPECT_EQ(entries("1", R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory>)"
                         "<Device componentID='1' display='&lt;&quot;&amp;\xc3\xa9'>"
                         "<Message>a &gt; b</Message></Device></SVMInventory>"),
            "true <Device componentID=\"1\" display=\"&lt;&quot;&amp;\xc3\xa9\">\n"
            "  <Message>a &gt; b</Message>\n</Device>");
}

TEST_F(InventoryEntryTest, OutputIsAppended) {
  std::istringstream input(kInventory);
  std::ostringstream output("before ", std::ios::ate);
  EXPECT_TRUE(m_reader.GetInvFromVNL("2", output, input));
  EXPECT_EQ(output.str(), "before " + std::string(kSecondDevice));
}

TEST_F(InventoryEntryTest, UnknownIdIsTrueAndWritesNothing) {
  const std::vector<std::string> unknown{"9", "", "01", "1 ", "3", "A", "'", "&", "<"};
  for (const std::string& id : unknown) {
    EXPECT_EQ(logOf([this, &id] { EXPECT_EQ(entries(id, kInventory), "true "); }), notFound()) << id;
  }
}

TEST_F(InventoryEntryTest, DocumentWithoutTheExpectedRootHasNoEntries) {
  for (const std::string document :
       {"<Other/>", "<SVMInventory/>", "<a><SVMInventory><Device componentID='1'/></SVMInventory></a>",
        "<SVMInventory xmlns='urn:example'><Device componentID='1'/></SVMInventory>"}) {
    EXPECT_EQ(entries("1", document), "true ") << document;
  }
}

// The id goes into the expression as it stands.
TEST_F(InventoryEntryTest, IdWithADoubleQuoteSpoilsOrExtendsTheExpression) {
  EXPECT_EQ(logOf([this] { EXPECT_EQ(entries("1\"", kInventory), "true "); }),
            Lines{"CIdentityModuleInventory::getnodeset :: Error in xmlXPathEvalExpression"} + notFound());
  EXPECT_EQ(entries("x\" or @display = \"B", kInventory), "true " + std::string(kSecondDevice));
}

TEST_F(InventoryEntryTest, InputThatDoesNotParseIsFalseAndSilent) {
  for (const auto& [name, document] : malformedDocuments(dataFile("inventory.xml"))) {
    const auto ask = [this, &text = document] { EXPECT_EQ(entries("12345", text), "false "); };
    EXPECT_EQ(logOf(ask), kNothing) << name;
  }
}

TEST_F(InventoryEntryTest, InputCutOffAnywhereIsFalse) {
  for (const auto& [name, document] : beginningsOf(kInventory)) {
    EXPECT_EQ(entries("1", document), "false ") << name;
  }
}

TEST_F(InventoryEntryTest, WholeInputCountsWhereverItStands) {
  std::istringstream input(kInventory);
  const std::string expected = "true " + std::string(kSecondDevice);
  input.seekg(50);
  EXPECT_EQ(entries("2", input), expected) << "in the middle";
  const std::string rest{std::istreambuf_iterator<char>(input), {}};
  EXPECT_EQ(entries("2", input), expected) << "at its end";
  input.setstate(std::ios::failbit);
  EXPECT_EQ(entries("2", input), expected) << "failed before";
}

TEST_F(InventoryEntryTest, FileThatTheInputNamesIsNeverRead) {
  const GuardedFile guarded(m_folder / "guarded.txt");
  for (const auto& [name, document] : documentsThatName(guarded.path(), kInventory)) {
    EXPECT_EQ(entries("2", document), "true " + std::string(kSecondDevice)) << name;
    EXPECT_FALSE(guarded.wasOpened()) << name;
  }
  EXPECT_EQ(readFile(guarded.path()), GuardedFile::content());
  EXPECT_TRUE(guarded.wasOpened()) << "the guard must notice a reader";
}

// ---- Descriptors that go wrong ----

TEST_F(SoftwareComponentInfoTest, MalformedDescriptorIsReportedAndAnswersNothing) {
  for (const auto& [name, content] : malformedDocuments(dataFile("package.xml"))) {
    write(content);
    EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }),
              logged({"Init() Document " + path() + " not parsed successfully ", "Init() Exiting"}))
        << name;
    EXPECT_EQ(answers(), kNoAnswers) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, DescriptorCutOffAnywhereAnswersNothing) {
  for (const auto& [name, content] : beginningsOf(dataFile("package.xml"))) {
    write(content);
    EXPECT_EQ(supported(), kNothing) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, OtherFormsOfTheDescriptorAnswerTheSame) {
  for (const auto& [name, content] : otherFormsOf(dataFile("package.xml"))) {
    write(content);
    EXPECT_EQ(answers(), kDataFileAnswers) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, ForeignDescriptorAnswersNothing) {
  for (const auto& [name, content] : foreignDocuments(dataFile("package.xml"), "SoftwareComponent")) {
    write(content);
    EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }), logged({"Init() Exiting"})) << name;
    EXPECT_EQ(answers(), kNoAnswers) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, UnreadableDescriptorAnswersNothing) {
  const WithoutFilePrivileges unprivileged;
  for (const auto& [name, opens, make] : unreadableFiles()) {
    const WorkingFolder folder;
    make("package.xml");
    const std::string descriptor = folder / "package.xml";
    const Lines parsed =
        logged({"Init() Document " + descriptor + " not parsed successfully ", "Init() Exiting"});
    EXPECT_EQ(logOf([] { const CSoftwareComponentInfo reader; }), opens ? parsed : kNothing) << name;
    EXPECT_EQ(answers(), kNoAnswers) << name;
  }
}

TEST_F(SoftwareComponentInfoTest, FileThatTheDescriptorNamesIsNeverRead) {
  const GuardedFile guarded(m_folder / "guarded.txt");
  for (const auto& [name, content] : documentsThatName(guarded.path(), dataFile("package.xml"))) {
    write(content);
    EXPECT_EQ(answers(), kDataFileAnswers) << name;
    EXPECT_FALSE(guarded.wasOpened()) << name;
  }
  EXPECT_EQ(readFile(guarded.path()), GuardedFile::content());
  EXPECT_TRUE(guarded.wasOpened()) << "the guard must notice a reader";
}

TEST_F(SoftwareComponentInfoTest, ExternalEntityAsANameIsNoText) {
  const GuardedFile guarded(m_folder / "guarded.txt");
  write(withDoctype(device("<PCIInfo/><Display>&e;</Display>"),
                    "[<!ENTITY e SYSTEM \"" + guarded.path().string() + "\">]"));
  EXPECT_EQ(supported(), Lines{"100|||||"});
  EXPECT_FALSE(guarded.wasOpened());
}

}  // namespace
