#include "Checks.h"

#include <gmock/gmock.h>

#include "TestSupport.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

constexpr char kGoodIds[] = R"(deviceID="a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0")";

/// A descriptor whose devices begin on line 2.
std::string descriptor(const std::string& devices) {
  return "<SoftwareComponent><SupportedDevices>\n" + devices + "\n</SupportedDevices></SoftwareComponent>\n";
}

std::string device(const std::string& content) {
  return "<Device componentID=\"1\">\n" + content + "\n</Device>\n";
}

std::string pciInfo(const std::string& ids = kGoodIds) {
  return "<PCIInfo " + ids + "/>\n";
}

class DescriptorCheck : public testing::Test {
 protected:
  tool::Findings check(const std::string& xml) {
    writeFile(m_folder / "package.xml", xml);
    return tool::checkDescriptor(m_folder / "package.xml", m_hasOwnLibrary);
  }

  /// "line: problem" of every finding.
  std::vector<std::string> problems(const std::string& xml) {
    std::vector<std::string> list;
    for (const tool::Finding& finding : check(xml)) {
      EXPECT_EQ(finding.file, m_folder / "package.xml");
      EXPECT_NE(finding.consequence, "") << finding.problem;
      EXPECT_NE(finding.remedy, "") << finding.problem;
      list.push_back(std::to_string(finding.line) + ": " + finding.problem);
    }
    return list;
  }

  WorkingFolder m_folder;
  bool m_hasOwnLibrary = false;
};

TEST_F(DescriptorCheck, ACompleteDescriptorHasNoFindings) {
  EXPECT_THAT(problems(descriptor(device(pciInfo() + "<Display>One</Display>"))), IsEmpty());
}

TEST_F(DescriptorCheck, TheSamplePackageHasTheOneTrapThatItShows) {
  EXPECT_THAT(problems(readFile(SIMULATOR_FOLDER "/package.xml")),
              ElementsAre("68: deviceID=\"0a54\" has a leading zero"));
}

TEST_F(DescriptorCheck, AFileThatIsMissingOrMalformedIsOneFinding) {
  const tool::Findings missing = tool::checkDescriptor(m_folder / "package.xml", m_hasOwnLibrary);
  ASSERT_EQ(missing.size(), 1U);
  EXPECT_EQ(missing[0].problem, "descriptor is missing");
  EXPECT_THAT(problems("<SoftwareComponent>\n<SupportedDevices>\n</SoftwareComponent>"),
              ElementsAre(HasSubstr("3: descriptor is not well-formed: Opening and ending tag mismatch")));
  EXPECT_THAT(problems(""), ElementsAre(HasSubstr("descriptor is not well-formed: Document is empty")));
  std::filesystem::remove(m_folder / "package.xml");
  std::filesystem::create_directory(m_folder / "package.xml");
  const tool::Findings folder = tool::checkDescriptor(m_folder / "package.xml", m_hasOwnLibrary);
  ASSERT_EQ(folder.size(), 1U);
  EXPECT_EQ(folder[0].problem, "descriptor is a folder");
}

struct Case {
  const char* what;
  std::string devices;
  std::vector<std::string> problems;
};

const std::string display = "<Display>One</Display>";

TEST_F(DescriptorCheck, EveryTrapOfAnIdIsFoundOnItsLine) {
  const auto withIds = [](const std::string& ids) { return device(pciInfo(ids) + display); };
  const Case cases[] = {
      {"missing id",
       withIds(R"(deviceID="a801" subDeviceID="1001" vendorID="f101")"),
       {"3: PCIInfo has no subVendorID"}},
      {"long id",
       withIds(R"(deviceID="1a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0")"),
       {"3: deviceID=\"1a801\" is longer than four digits"}},
      {"prefix",
       withIds(R"(deviceID="0xa801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0")"),
       {"3: deviceID=\"0xa801\" is not hexadecimal"}},
      {"no hexadecimal",
       withIds(R"(deviceID="a80g" subDeviceID="1001" vendorID="f101" subVendorID="f1a0")"),
       {"3: deviceID=\"a80g\" is not hexadecimal"}},
      {"leading zero",
       withIds(R"(deviceID="a801" subDeviceID="0001" vendorID="f101" subVendorID="f1a0")"),
       {"3: subDeviceID=\"0001\" has a leading zero"}},
      {"short id",
       withIds(R"(deviceID="a54" subDeviceID="1001" vendorID="f101" subVendorID="f1a0")"),
       {"3: deviceID=\"a54\" has fewer than four digits"}},
      {"empty id",
       withIds(R"(deviceID="" subDeviceID="1001" vendorID="f101" subVendorID="f1a0")"),
       {"3: deviceID=\"\" is empty"}},
      {"same ids twice",
       device(pciInfo() + display) +
           device(pciInfo(R"(deviceID="A801" subDeviceID="1001" vendorID="F101" subVendorID="F1A0")") +
                  display),
       {"7: PCIInfo has the same four ids as line 3"}},
  };
  for (const Case& c : cases) EXPECT_EQ(problems(descriptor(c.devices)), c.problems) << c.what;
}

TEST_F(DescriptorCheck, EveryTrapOfANameOrAPlaceIsFoundOnItsLine) {
  const Case cases[] = {
      {"no componentID", "<Device>\n" + pciInfo() + display + "</Device>", {"2: Device has no componentID"}},
      {"empty componentID",
       "<Device componentID=\"\">" + pciInfo() + display + "</Device>",
       {"2: Device has no componentID"}},
      {"no PCIInfo", device(display), {"2: Device has no PCIInfo"}},
      {"Display first", device(display + "\n" + pciInfo()), {"3: Display is before its PCIInfo (line 4)"}},
      {"two names",
       device(pciInfo() + display + "<Display>Two</Display>"),
       {"4: Display \"Two\" is never used"}},
      {"a name before and behind",
       device("<Display>Zero</Display>" + pciInfo() + display),
       {"3: Display \"Zero\" is never used"}},
      {"a name for each",
       device(pciInfo() + display +
              pciInfo(R"(deviceID="a802" subDeviceID="1" vendorID="f101" subVendorID="f1a0")") +
              "<Display>Two</Display>"),
       {"4: subDeviceID=\"1\" has fewer than four digits"}},
      {"empty Display", device(pciInfo() + "<Display></Display>"), {"4: Display is empty"}},
      {"blank Display", device(pciInfo() + "<Display>  </Display>"), {"4: Display holds only blanks"}},
      {"no Display", device(pciInfo()), {"3: PCIInfo has no Display after it in its Device"}},
      {"reserved characters",
       device(pciInfo() + "<Display>A &amp; B</Display>"),
       {"4: the name \"A & B\" holds a character that XML reserves (&, < or \")"}},
      {"line breaks",
       device(pciInfo() + "<Display>\nOne\n</Display>"),
       {"4: the name has line breaks, tabs or blanks around it"}},
      {"a character without a width",
       device(pciInfo() + "<Display>O\u200bne</Display>"),
       {"4: the name holds characters that cannot be seen, or that turn the direction"}},
      {"a long name",
       device(pciInfo() + "<Display>" + std::string(121, 'n') + "</Display>"),
       {"4: the name has 121 bytes"}},
      {"a name that is not too long",
       device(pciInfo() + "<Display>" + std::string(120, 'n') + "</Display>"),
       {}},
      {"comment first",
       device(pciInfo() + "<Display><!--x-->One</Display>"),
       {"4: Display holds more than a text"}},
      {"another letter case",
       "<device componentID=\"1\">" + pciInfo() + "</device>",
       {"2: this device is never read: the name is not written \"Device\""}},
      {"another place",
       "<Devices>\n" + device(pciInfo() + display) + "</Devices>",
       {"3: this Device is never read: it is not in SoftwareComponent/SupportedDevices"}},
      {"PCIInfo in another element",
       device("<Ids>\n" + pciInfo() + "</Ids>" + display),
       {"2: Device has no PCIInfo", "4: this PCIInfo is never read: it is in Ids"}},
      {"no Device", "", {"1: no Device in SoftwareComponent/SupportedDevices"}},
  };
  for (const Case& c : cases) EXPECT_EQ(problems(descriptor(c.devices)), c.problems) << c.what;
}

TEST_F(DescriptorCheck, ANamespaceHidesEveryDevice) {
  EXPECT_THAT(problems("<SoftwareComponent xmlns=\"urn:x\"><SupportedDevices>\n" + device(pciInfo()) +
                       "</SupportedDevices></SoftwareComponent>"),
              ElementsAre("2: this Device is never read: it is in the namespace \"urn:x\""));
  EXPECT_THAT(problems("<PCIInfo/>"), ElementsAre("1: this PCIInfo is never read: it is in no Device",
                                                  "1: no Device in SoftwareComponent/SupportedDevices"));
}

TEST_F(DescriptorCheck, WhatIsCarriedOverIsNamedWithItsLine) {
  const tool::Findings carried = check(descriptor(device(pciInfo() + "<Display>One</Display>") +
                                                  device(pciInfo(R"(deviceID="a802" deviceId="x")"))));
  std::vector<std::string> texts;
  for (const tool::Finding& finding : carried) texts.push_back(finding.consequence);
  EXPECT_THAT(
      texts,
      ElementsAre("it inherits \"1001\" from line 3; drives with that id are shown under its name",
                  StartsWith("it inherits \"f101\" from line 3"),
                  StartsWith("it inherits \"f1a0\" from line 3"),
                  "drives that match line 7 are shown under the name \"One\", carried over from line 4"));
  EXPECT_THAT(check(descriptor(device(pciInfo("DeviceID=\"a801\"")))).at(0).remedy,
              HasSubstr("it is written DeviceID there"));
}

/// Our own drive library finds drives by the very entries whose names the component never finds.
TEST_F(DescriptorCheck, NoEntryThatOurOwnDriveLibraryNeedsIsAFinding) {
  const auto entryWith = [](const char* id) {
    return descriptor(device(pciInfo(std::string("deviceID=\"") + id +
                                     R"(" subDeviceID="1001" vendorID="f101" subVendorID="f1a0")") +
                             "<Display>One</Display>"));
  };
  for (const char* const id : {"0a54", "0010", "a54"}) {
    ASSERT_EQ(check(entryWith(id)).size(), 1U) << id;
    EXPECT_THAT(check(entryWith(id))[0].consequence, HasSubstr("the drive's display stays empty"));
  }
  m_hasOwnLibrary = true;
  for (const char* const id : {"0a54", "0010", "a54"}) EXPECT_THAT(check(entryWith(id)), IsEmpty()) << id;
  EXPECT_EQ(check(entryWith("")).size(), 1U);
  EXPECT_THAT(check("<broken").at(0).consequence, HasSubstr("lists and flashes no drive"));
}

TEST_F(DescriptorCheck, TheLastOfTheSameIdsIsSaidToWin) {
  const tool::Findings twins = check(descriptor(device(pciInfo() + "<Display>One</Display>") +
                                                device(pciInfo() + "<Display>Two</Display>")));
  ASSERT_EQ(twins.size(), 1U);
  EXPECT_EQ(twins[0].consequence,
            "the last one wins: drives with these ids are shown as \"Two\", never as \"One\"");
  const std::string one = device(pciInfo() + "<Display>One</Display>");
  EXPECT_EQ(check(descriptor(one + one)).at(0).consequence, "no difference: both give the name \"One\"");
}

}  // namespace
