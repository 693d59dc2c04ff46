#include "PIEConfigInfo.h"

#include <gtest/gtest.h>

#include "ReaderTestSupport.h"

namespace {

constexpr char kComplete[] = "<CliToFile><Command>run</Command><Output>out.xml</Output></CliToFile>";

/// Log lines of the class, given without its name.
Lines logged(std::initializer_list<std::string> lines) {
  return prefixed("CPIEConfigInfo::", lines);
}

std::string plugins(const std::string& content) {
  return "<PIEConfig><Plugins>" + content + "</Plugins></PIEConfig>";
}

std::string plugin(const std::string& attributes, const std::string& content = kComplete) {
  return "<Plugin " + attributes + ">" + content + "</Plugin>";
}

std::string inventoryPlugin(const std::string& content) {
  return plugin(R"(description="Inventory" type="0" timeout="120")", content);
}

/// A file whose inventory plugin has this content.
std::string withInventory(const std::string& content) {
  return plugins(inventoryPlugin(content));
}

/// A file whose inventory plugin has this content in its CliToFile.
std::string withCommand(const std::string& content) {
  return withInventory("<CliToFile>" + content + "</CliToFile>");
}

class PIEConfigInfoTest : public testing::Test {
 protected:
  void write(const std::string& content) const { writeFile(path(), content); }

  bool init(const std::string& content) {
    write(content);
    return m_reader.Init(path());
  }

  /// What a reader holds: command, output file name, time-out.
  static std::string held(const CPIEConfigInfo& reader) {
    return reader.GetInventoryCommand() + '|' + reader.GetInventoryCommandOutFileName() + '|' +
           std::to_string(reader.GetInventoryTimeout());
  }

  /// The result of a new reader's `Init`, and what the reader holds afterwards.
  std::string read() const {
    CPIEConfigInfo reader;
    const bool found = reader.Init(path());
    return (found ? "true " : "false ") + held(reader);
  }

  void expectReadings(const std::vector<Reading<std::string>>& readings) const {
    for (const auto& [situation, content, expected] : readings) {
      write(content);
      EXPECT_EQ(read(), expected) << situation << ": " << content;
    }
  }

  std::string path() const { return m_folder / "plugins.xml"; }

  ScratchFolder m_folder;
  QuietXml m_quiet;
  CPIEConfigInfo m_reader;
};

const std::string kDataFileReading = "true nvmepcissd -i -o inventory.xml|inventory.xml|120";

TEST_F(PIEConfigInfoTest, NewReaderHoldsNothing) {
  EXPECT_EQ(held(m_reader), "||0");
}

TEST_F(PIEConfigInfoTest, CompleteFileYieldsCommandOutputAndTimeout) {
  expectReadings({{"complete file", dataFile("plugins.xml"), kDataFileReading}});
}

TEST_F(PIEConfigInfoTest, CompleteFileLogsEveryStep) {
  write(dataFile("plugins.xml"));
  EXPECT_EQ(logOf([this] { m_reader.Init(path()); }),
            logged({"GetInventoryPluginInfo() Start", "GetNodeSet() Start", "GetNodeSet() END",
                    "GetInventoryCommandInfo() START", "GetInventoryCommandInfo() END",
                    "GetInventoryPluginInfo() END", "Init() GetInventoryPluginInfo success "}));
}

TEST_F(PIEConfigInfoTest, LogNamesTheReadersSource) {
  const LogCapture log;
  init(dataFile("plugins.xml"));
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.source, "cm_CMBaseUtils/src/PIEConfigInfo.cpp") << line.message;
  }
  EXPECT_EQ(log.lines().size(), 7U);
}

TEST_F(PIEConfigInfoTest, EmptyPathIsReportedAndFailsToParse) {
  EXPECT_EQ(logOf([this] { EXPECT_FALSE(m_reader.Init("")); }),
            (Lines{"PIE file path is empty ", "CPIEConfigInfo::Init() Document   parsed successfully "}));
  EXPECT_EQ(held(m_reader), "||0");
}

// ---- Which plugin ----

TEST_F(PIEConfigInfoTest, PluginIsChosenByDescriptionTypeAndPresenceOfATimeout) {
  const std::string other = plugin(R"(description="Inventory" type="0" timeout="7")");
  const auto first = [&other](const std::string& attributes) { return plugins(plugin(attributes) + other); };
  expectReadings({
      {"lower case", first(R"(description="inventory" type="0" timeout="5")"), "true run|out.xml|5"},
      {"upper case", first(R"(description="INVENTORY" type="0" timeout="5")"), "true run|out.xml|5"},
      {"first of two", first(R"(description="Inventory" type="0" timeout="5")"), "true run|out.xml|5"},
      {"more attributes", first(R"(a="" timeout="5" type="0" description="Inventory")"),
       "true run|out.xml|5"},
      {"other type", first(R"(description="Inventory" type="1" timeout="5")"), "true run|out.xml|7"},
      {"same number, other text", first(R"(description="Inventory" type="00" timeout="5")"),
       "true run|out.xml|7"},
      {"blank in the type", first(R"(description="Inventory" type=" 0" timeout="5")"), "true run|out.xml|7"},
      {"empty type", first(R"(description="Inventory" type="" timeout="5")"), "true run|out.xml|7"},
      {"other description", first(R"(description="Update" type="0" timeout="5")"), "true run|out.xml|7"},
      {"longer description", first(R"(description="Inventory2" type="0" timeout="5")"), "true run|out.xml|7"},
      {"empty description", first(R"(description="" type="0" timeout="5")"), "true run|out.xml|7"},
      {"no description", first(R"(type="0" timeout="5")"), "true run|out.xml|7"},
      {"no type", first(R"(description="Inventory" timeout="5")"), "true run|out.xml|7"},
      {"no timeout", first(R"(description="Inventory" type="0")"), "true run|out.xml|7"},
      {"attribute names in another case", first(R"(Description="Inventory" Type="0" Timeout="5")"),
       "true run|out.xml|7"},
  });
}

TEST_F(PIEConfigInfoTest, PluginsAreFoundAtAnyDepth) {
  const std::string found = inventoryPlugin(kComplete);
  expectReadings({
      {"directly", plugins(found), "true run|out.xml|120"},
      {"below other elements", "<a><PIEConfig><b><Plugins><c>" + found + "</c></Plugins></b></PIEConfig></a>",
       "true run|out.xml|120"},
      {"inside another plugin", plugins(plugin("type='1'", found)), "true run|out.xml|120"},
      {"in the second list", "<PIEConfig><Plugins/><Plugins>" + found + "</Plugins></PIEConfig>",
       "true run|out.xml|120"},
      {"outside the list", "<PIEConfig>" + found + "<Plugins/></PIEConfig>", "false ||0"},
      {"list outside the root", "<a><Plugins>" + found + "</Plugins><PIEConfig/></a>", "false ||0"},
      {"other element name case", plugins(replaced(found, "Plugin", "plugin")), "false ||0"},
  });
}

TEST_F(PIEConfigInfoTest, FileWithoutPluginsLogsTheNullResult) {
  write(plugins(""));
  EXPECT_EQ(
      logOf([this] { EXPECT_FALSE(m_reader.Init(path())); }),
      logged({"GetInventoryPluginInfo() Start", "GetNodeSet() Start", "GetNodeSet() Empty nodeset",
              "GetInventoryPluginInfo() pXpathResult is NULL", "Init() GetInventoryPluginInfo failed "}));
}

TEST_F(PIEConfigInfoTest, FileWithoutInventoryPluginLogsTheNullNode) {
  write(plugins(plugin(R"(description="Inventory" type="1" timeout="5")")));
  EXPECT_EQ(
      logOf([this] { EXPECT_FALSE(m_reader.Init(path())); }),
      logged({"GetInventoryPluginInfo() Start", "GetNodeSet() Start", "GetNodeSet() END",
              "GetInventoryPluginInfo() pInventoyNode is NULL", "Init() GetInventoryPluginInfo failed "}));
  EXPECT_EQ(held(m_reader), "||0");
}

// ---- The time-out ----

TEST_F(PIEConfigInfoTest, TimeoutIsTheNumberThatTheAttributeBeginsWith) {
  const std::vector<std::pair<std::string, std::string>> timeouts{
      {"120", "120"},
      {"0", "0"},
      {"-5", "-5"},
      {"+5", "5"},
      {"  7", "7"},
      {"010", "10"},
      {"12.9", "12"},
      {"12s", "12"},
      {"0x10", "0"},
      {"soon", "0"},
      {"", "0"},
      {"-", "0"},
      {"2147483647", "2147483647"},
      {"-2147483648", "-2147483648"},
  };
  for (const auto& [written, expected] : timeouts) {
    expectReadings({{"timeout", plugins(plugin("description='Inventory' type='0' timeout='" + written + "'")),
                     "true run|out.xml|" + expected}});
  }
}

TEST_F(PIEConfigInfoTest, TimeoutOutOfRangeBecomesTheNearestInt) {
  for (const std::string written : {"2147483648", "99999999999", "99999999999999999999999999"}) {
    expectReadings(
        {{"too great", plugins(plugin("description='Inventory' type='0' timeout='" + written + "'")),
          "true run|out.xml|2147483647"},
         {"too small", plugins(plugin("description='Inventory' type='0' timeout='-" + written + "'")),
          "true run|out.xml|-2147483648"}});
  }
}

// ---- The command ----

TEST_F(PIEConfigInfoTest, CommandAndOutputAreTheFirstTextsOfTheirElements) {
  expectReadings({
      {"plain", withCommand("<Command>run</Command><Output>out</Output>"), "true run|out|120"},
      {"output first", withCommand("<Output>out</Output><Command>run</Command>"), "true run|out|120"},
      {"other elements between", withCommand("<a/><Command>run</Command>text<Output>out</Output><b/>"),
       "true run|out|120"},
      {"names in other cases",
       withInventory("<CLITOFILE><command>run</command><OUTPUT>out</OUTPUT></CLITOFILE>"),
       "true run|out|120"},
      {"blanks are kept", withCommand("<Command> run </Command><Output> </Output>"), "true  run | |120"},
      {"CDATA section", withCommand("<Command><![CDATA[a && b]]></Command><Output>out</Output>"),
       "true a && b|out|120"},
      {"comment first", withCommand("<Command><!--note-->run</Command><Output>out</Output>"),
       "true note|out|120"},
      {"comment later", withCommand("<Command>run<!--note--> on</Command><Output>out</Output>"),
       "true run|out|120"},
      {"instruction first", withCommand("<Command><?shell sh?>run</Command><Output>out</Output>"),
       "true sh|out|120"},
      {"escaped characters", withCommand("<Command>a &lt; b &amp; c</Command><Output>&#111;ut</Output>"),
       "true a < b & c|out|120"},
      {"the last of several",
       withCommand("<Command>a</Command><Output>b</Output>"
                   "<Command>run</Command><Output>out</Output>"),
       "true run|out|120"},
      {"a last one without text",
       withCommand("<Command>run</Command><Output>out</Output><Command/><Output/>"), "true run|out|120"},
  });
}

TEST_F(PIEConfigInfoTest, IncompleteCommandFailsAndKeepsTheTimeout) {
  const std::string command = "<Command>run</Command>";
  const std::string output = "<Output>out</Output>";
  const std::string both = command + output;
  expectReadings({
      {"no content", withInventory(""), "false ||120"},
      {"no CliToFile", withInventory(both), "false ||120"},
      {"empty CliToFile", withCommand(""), "false ||120"},
      {"no output", withCommand(command), "false ||120"},
      {"no command", withCommand(output), "false ||120"},
      {"command without text", withCommand("<Command/>" + output), "false ||120"},
      {"output without text", withCommand(command + "<Output></Output>"), "false ||120"},
      {"element instead of a text", withCommand(command + "<Output><a>out</a></Output>"), "false ||120"},
      {"only the second CliToFile is complete",
       withInventory("<CliToFile>" + command + "</CliToFile>" + kComplete), "false ||120"},
      {"empty CliToFile before a complete one", withInventory("<CliToFile/>" + std::string(kComplete)),
       "false ||120"},
      {"command and output in different CliToFiles",
       withInventory("<CliToFile>" + command + "</CliToFile><CliToFile>" + output + "</CliToFile>"),
       "false ||120"},
      {"CliToFile one level too deep", withInventory("<a>" + std::string(kComplete) + "</a>"), "false ||120"},
      {"command one level too deep", withCommand("<a>" + both + "</a>"), "false ||120"},
      {"instruction and comment with the names",
       withInventory("<?CliToFile a?><!--CliToFile--><CliToFile><?Command run?>" + output + "</CliToFile>"),
       "false ||120"},
      {"a later plugin is complete", plugins(inventoryPlugin("") + inventoryPlugin(kComplete)),
       "false ||120"},
  });
}

TEST_F(PIEConfigInfoTest, InstructionNamedLikeTheCommandsParentIsNoElement) {
  expectReadings({{"instruction before the element",
                   withInventory("<?CliToFile a?>" + std::string(kComplete)), "true run|out.xml|120"}});
}

TEST_F(PIEConfigInfoTest, IncompleteCommandLogsEveryStep) {
  write(withCommand("<Command>run</Command>"));
  EXPECT_EQ(
      logOf([this] { EXPECT_FALSE(m_reader.Init(path())); }),
      logged({"GetInventoryPluginInfo() Start", "GetNodeSet() Start", "GetNodeSet() END",
              "GetInventoryCommandInfo() START",
              "GetInventoryCommandInfo() Inventory or output filename is empty",
              "GetInventoryCommandInfo() END", "GetInventoryPluginInfo() GetInventoryCommandInfo  is failed",
              "GetInventoryPluginInfo() END", "Init() GetInventoryPluginInfo failed "}));
}

TEST_F(PIEConfigInfoTest, CommandOfNoNodeFails) {
  EXPECT_EQ(logOf([this] { EXPECT_FALSE(m_reader.GetInventoryCommandInfo(nullptr)); }),
            logged({"GetInventoryCommandInfo() START", "GetInventoryCommandInfo() is NULL"}));
}

// ---- Reading again ----

TEST_F(PIEConfigInfoTest, SecondInitReplacesWhatTheFirstFound) {
  init(dataFile("plugins.xml"));
  EXPECT_TRUE(init(withInventory(kComplete)));
  EXPECT_EQ(held(m_reader), "run|out.xml|120");
}

TEST_F(PIEConfigInfoTest, FailingInitKeepsTheTextsFoundBefore) {
  init(dataFile("plugins.xml"));
  EXPECT_FALSE(init(plugins(plugin(R"(description="Inventory" type="0" timeout="9")", ""))));
  EXPECT_EQ(held(m_reader), "nvmepcissd -i -o inventory.xml|inventory.xml|9");
}

TEST_F(PIEConfigInfoTest, FailedParseLeavesNothingToSelectFrom) {
  init(dataFile("plugins.xml"));
  EXPECT_FALSE(init("<PIEConfig>"));
  EXPECT_EQ(Selection(m_reader.GetPlugins()), nullptr);
}

// ---- Selecting ----

TEST_F(PIEConfigInfoTest, GetPluginsSelectsAllOfThemInDocumentOrder) {
  init(dataFile("plugins.xml"));
  const Selection selection(m_reader.GetPlugins());
  Lines types;
  for (const xmlNode* node : libxml::nodes(selection)) {
    types.push_back(textOrNull(m_reader.GetAttributeValue(node, "type")));
  }
  EXPECT_EQ(types, (Lines{"1", "0"}));
}

TEST_F(PIEConfigInfoTest, SelectionBeforeInitIsEmpty) {
  EXPECT_EQ(logOf([this] { EXPECT_EQ(Selection(m_reader.GetPlugins()), nullptr); }),
            logged({"GetNodeSet() Start", "GetNodeSet() Empty nodeset"}));
}

TEST_F(PIEConfigInfoTest, SelectionWithoutNodesIsNull) {
  init(dataFile("plugins.xml"));
  for (const char* const expression : {"//Nothing", "count(//Plugin)", "'text'", "true()"}) {
    SCOPED_TRACE(expression);
    EXPECT_EQ(logOf([this, expression] { EXPECT_EQ(Selection(m_reader.GetNodeSet(expression)), nullptr); }),
              logged({"GetNodeSet() Start", "GetNodeSet() Empty nodeset"}));
  }
}

TEST_F(PIEConfigInfoTest, ExpressionThatDoesNotEvaluateIsNull) {
  init(dataFile("plugins.xml"));
  for (const char* const expression : {"//[", "", "unknown()", "$variable"}) {
    SCOPED_TRACE(expression);
    EXPECT_EQ(logOf([this, expression] { EXPECT_EQ(Selection(m_reader.GetNodeSet(expression)), nullptr); }),
              logged({"GetNodeSet() Start", "GetNodeSet() Error in xmlXPathEvalExpression"}));
  }
}

TEST_F(PIEConfigInfoTest, AttributeValueIsNullOnlyWhenItIsAbsent) {
  init(R"(<PIEConfig full="a" empty=""><!-- a --></PIEConfig>)");
  const Selection selection(m_reader.GetNodeSet("/PIEConfig"));
  ASSERT_NE(selection, nullptr);
  const xmlNode* const root = libxml::nodes(selection)[0];
  EXPECT_EQ(logOf([this, root] {
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(root, "full")), "a");
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(root, "empty")), "");
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(root, "Full")), "(null)");
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(root, nullptr)), "(null)");
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(nullptr, "full")), "(null)");
              EXPECT_EQ(textOrNull(m_reader.GetAttributeValue(root->children, "full")), "(null)");
            }),
            Lines{});
}

// ---- Bad files ----

TEST_F(PIEConfigInfoTest, MalformedFileFailsToParse) {
  const std::string good = dataFile("plugins.xml");
  for (const auto& [name, content] : malformedDocuments(good)) {
    write(content);
    EXPECT_EQ(logOf([this] { EXPECT_EQ(read(), "false ||0"); }),
              logged({"Init() Document " + path() + "  parsed successfully "}))
        << name;
  }
}

TEST_F(PIEConfigInfoTest, FileCutOffAnywhereFailsToParse) {
  for (const auto& [name, content] : beginningsOf(dataFile("plugins.xml"))) {
    expectReadings({{name, content, "false ||0"}});
  }
}

TEST_F(PIEConfigInfoTest, OtherFormsOfTheFileReadTheSame) {
  for (const auto& [name, content] : otherFormsOf(dataFile("plugins.xml"))) {
    write(content);
    EXPECT_EQ(read(), kDataFileReading) << name;
  }
}

TEST_F(PIEConfigInfoTest, ForeignFileHasNoPlugins) {
  for (const auto& [name, content] : foreignDocuments(dataFile("plugins.xml"), "PIEConfig")) {
    expectReadings({{name, content, "false ||0"}});
  }
}

TEST_F(PIEConfigInfoTest, UnreadableFileFailsToParse) {
  const WithoutFilePrivileges unprivileged;
  for (const auto& [name, opens, make] : unreadableFiles()) {
    const std::string unreadable = m_folder / name;
    make(unreadable);
    EXPECT_EQ(logOf([this, &unreadable] { EXPECT_FALSE(m_reader.Init(unreadable)); }),
              logged({"Init() Document " + unreadable + "  parsed successfully "}))
        << name;
  }
}

TEST_F(PIEConfigInfoTest, FileThatTheDocumentNamesIsNeverRead) {
  const GuardedFile guarded(m_folder / "guarded.txt");
  for (const auto& [name, content] : documentsThatName(guarded.path(), dataFile("plugins.xml"))) {
    write(content);
    EXPECT_EQ(read(), kDataFileReading) << name;
    EXPECT_FALSE(guarded.wasOpened()) << name;
  }
  EXPECT_EQ(readFile(guarded.path()), GuardedFile::content());
  EXPECT_TRUE(guarded.wasOpened()) << "the guard must notice a reader";
}

TEST_F(PIEConfigInfoTest, EntityIsAChildNodeOfItsOwn) {
  const auto command = [](const std::string& text) {
    return withDoctype(withCommand("<Command>" + text + "</Command><Output>out</Output>"),
                       R"([<!ENTITY tool "run"><!ENTITY e SYSTEM "missing.txt">])");
  };
  expectReadings({
      {"text first", command("a &tool;"), "true a |out|120"},
      {"internal entity first", command("&tool; a"), "true run|out|120"},
      {"external entity first", command("&e; a"), "false ||120"},
  });
}

}  // namespace
