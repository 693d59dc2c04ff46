#include "SoftwareComponentInfoTest.h"

namespace {

SPCIInfo drive(const std::string& deviceID, const std::string& subDeviceID, const std::string& vendorID,
               const std::string& subVendorID) {
  return {"", deviceID, subDeviceID, vendorID, subVendorID, ""};
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
  const auto followedBy = [&first](const std::string& more) { return supporting(first + more); };
  const std::vector<Reading<Lines>> readings{
      {"within a device",
       device(pciInfo("1111", "2222", "3333", "4444") + "<PCIInfo deviceID='a'/>"),
       {"100|1111|2222|3333|4444|", "100|000a|2222|3333|4444|"}},
      {"to the next device",
       followedBy("<Device componentID='2'><PCIInfo subVendorID='b'/></Device>"),
       {entry, "2|1111|2222|3333|000b|A"}},
      {"across a device without entries",
       followedBy("<Device componentID='2'><Display>B</Display></Device>"
                  "<Device componentID='3'><PCIInfo/></Device>"),
       {entry, "3|1111|2222|3333|4444|A"}},
      {"not the component id", followedBy("<Device><PCIInfo/></Device>"), {entry, "|1111|2222|3333|4444|A"}},
      {"empty attributes are supplied",
       followedBy("<Device componentID=''>" + pciInfo("", "", "", "") + "</Device>"),
       {entry, "|0000|0000|0000|0000|A"}},
      {"a later name",
       followedBy("<Device componentID='2'><PCIInfo/><Display>B</Display></Device>"),
       {entry, "2|1111|2222|3333|4444|B"}},
  };
  expectReadings(supported, readings);
}

TEST_F(SoftwareComponentInfoTest, DisplayNameIsTheFirstDisplayWithTextBehindTheEntry) {
  const std::string pci = pciInfo("1111", "2222", "3333", "4444");
  const auto name = [](const std::string& text) { return Lines{"100|1111|2222|3333|4444|" + text}; };
  const std::vector<Reading<Lines>> readings{
      {"directly after", device(pci + "<Display>A</Display>"), name("A")},
      {"after others", device(pci + "<a/>text<!--c--><Display>A</Display>"), name("A")},
      {"letter case", device(pci + "<dISPLAY>A</dISPLAY>"), name("A")},
      {"before", device("<Display>A</Display>" + pci), name("")},
      {"before and after", device("<Display>A</Display>" + pci + "<Display>B</Display>"), name("B")},
      {"two after", device(pci + "<Display>A</Display><Display>B</Display>"), name("A")},
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

}  // namespace
