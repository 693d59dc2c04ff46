#include "SoftwareComponentInfoTest.h"

#include <libxml/parser.h>

#include <filesystem>
#include <functional>
#include <utility>

namespace {

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
      {"after text, comment and instruction", device("text<!--c--><?Display B?><Display>A</Display>"), {"A"}},
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

/// A query, and its log for a complete descriptor, an unusable one and a missing one.
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

}  // namespace
