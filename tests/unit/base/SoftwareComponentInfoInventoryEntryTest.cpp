#include "SoftwareComponentInfoTest.h"

#include <iterator>
#include <sstream>

namespace {

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
  /// "true " or "false ", the result of the call, and what it writes for this id.
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

// The id is inserted into the expression unescaped.
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

}  // namespace
