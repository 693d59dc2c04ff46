#include "SoftwareComponentInfoTest.h"

namespace {

constexpr char kFullAttributes[] =
    R"(componentID="900" componentType="APAC" version="1.1" path="tools\update" releaseID="R900")";

std::string hard(const std::string& content, const std::string& attributes = kFullAttributes) {
  return "<Dependency " + attributes + ">" + content + "</Dependency>";
}

std::string soft(const std::string& content, const std::string& attributes = kFullAttributes) {
  return "<SoftDependency " + attributes + ">" + content + "</SoftDependency>";
}

/// How a record with the full attributes is described.
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
      {"texts after them",
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

/// What the reader logs about the dependencies, without the lines before and after them.
Lines dependencyLog(CSoftwareComponentInfo& reader) {
  Lines lines = logOf([&reader] { take(reader.getDependencyInfo()); });
  const Lines start =
      dependencyLogged({"Entered Method"}) + prefixed("CSoftwareComponentInfo::", {"GetNodeSet() Exiting"});
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

}  // namespace
