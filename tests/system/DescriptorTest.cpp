// package.xml in every shape: the name that a drive gets from it, and what the debug log says.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

/// A package with these Device elements.
std::string package(std::string_view devices) {
  return "<SoftwareComponent><SupportedDevices>" + std::string(devices) +
         "</SupportedDevices></SoftwareComponent>";
}

std::string device(std::string_view children) {
  return R"(<Device componentID="1">)" + std::string(children) + "</Device>";
}

/// The ids of `drive(1)`.
constexpr std::string_view kPci =
    R"(<PCIInfo deviceID="a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/>)";
constexpr std::string_view kOtherPci =
    R"(<PCIInfo deviceID="b801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/>)";

std::string pciAnd(std::string_view siblings) {
  return std::string(kPci) + std::string(siblings);
}

}  // namespace

struct NameCase {
  const char* name;
  std::string package;
  const char* display;  ///< of `drive(1)`
  bool breaksDocuments = false;
};

void PrintTo(const NameCase& named, std::ostream* stream) {
  *stream << named.package;
}

class MarketingName : public testing::TestWithParam<NameCase> {};

// Promise: values-are-not-escaped
TEST_P(MarketingName, IsDisplayed) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  writeFile(component / "package.xml", GetParam().package);
  component.settings.breaksDocuments = GetParam().breaksDocuments;
  const Outcome outcome = component.run({"-i"});
  EXPECT_EQ(outcome, (Outcome{0, inventoryDocument({listed({.display = GetParam().display})}), ""}));
  EXPECT_EQ(outcome.standardError, "");
}

namespace {

const NameCase kNames[] = {
    {"BehindTheIds", package(device(pciAnd("<Display>Name</Display>"))), "Name"},
    {"BeforeTheIdsIsNotSeen", package(device("<Display>Name</Display>" + std::string(kPci))), ""},
    {"FirstOneWithTextCounts",
     package(device(pciAnd("<Display/><Display>Name</Display><Display>Later</Display>"))), "Name"},
    {"BehindFurtherIds", package(device(pciAnd(std::string(kOtherPci) + "<Display>Name</Display>"))), "Name"},
    {"BehindOtherElementsAndComments",
     package(device(pciAnd("<!-- note --><Detail>no</Detail><Display>Name</Display>"))), "Name"},
    {"LastMatchingDeviceCounts",
     package(device(pciAnd("<Display>First</Display>")) + device(pciAnd("<Display>Last</Display>")) +
             device(std::string(kOtherPci) + "<Display>Other</Display>")),
     "Last"},
    {"MissingDisplayInheritsThePreviousOne",
     package(device(std::string(kOtherPci) + "<Display>Previous</Display>") + device(kPci)), "Previous"},
    {"MissingIdInheritsThePreviousOne",
     package(device(std::string(kOtherPci) + "<Display>Previous</Display>") +
             device(R"(<PCIInfo deviceID="a801"/><Display>Name</Display>)")),
     "Name"},
    {"IdsAreComparedWithoutCase",
     package(device(R"(<PCIInfo deviceID="A801" subDeviceID="1001" vendorID="F101" subVendorID="F1A0"/>)"
                    "<Display>Name</Display>")),
     "Name"},
    {"ChildElementsAreFoundWithoutCase",
     package(device(R"(<pciINFO deviceID="a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/>)"
                    "<dISPLAY>Name</dISPLAY>")),
     "Name"},
    {"AttributeNamesHaveTheirCase",
     package(device(R"(<PCIInfo deviceid="a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/>)"
                    "<Display>Name</Display>")),
     ""},
    {"DeviceElementsHaveTheirCase", package("<device>" + pciAnd("<Display>Name</Display>") + "</device>"),
     ""},
    {"LongerIdIsKeptWhole",
     package(device(R"(<PCIInfo deviceID="0a801" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/>)"
                    "<Display>Name</Display>")),
     ""},
    {"DeviceWithoutComponentId", package("<Device>" + pciAnd("<Display>Name</Display>") + "</Device>"),
     "Name"},
    {"DeviceWithoutChildren", package("<Device componentID=\"1\"/>"), ""},
    {"PackageBelowAnotherRoot", "<Server>" + package(device(pciAnd("<Display>Name</Display>"))) + "</Server>",
     "Name"},
    {"CharacterData", package(device(pciAnd("<Display><![CDATA[<Name & co>]]></Display>"))), "<Name & co>",
     true},
    {"MarkupIsNotEscapedAgain", package(device(pciAnd("<Display>&lt;Name&gt; &amp; co</Display>"))),
     "<Name> & co", true},
    {"BlanksAroundAreKept", package(device(pciAnd("<Display>  Name </Display>"))), "  Name "},
    {"OnlyTheFirstTextCounts", package(device(pciAnd("<Display>Name<b>bold</b>rest</Display>"))), "Name"},
    {"FirstChildIsAnElement", package(device(pciAnd("<Display><b>bold</b>rest</Display>"))), ""},
    {"WithoutDevices", package(""), ""},
    {"AnotherDocument", "<Other/>", ""},
    {"MarkedAsUtf8", "\xef\xbb\xbf" + package(device(pciAnd("<Display>Name</Display>"))), "Name"},
    {"InLatin1",
     "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>" + package(device(pciAnd("<Display>\xe9</Display>"))),
     "\xc3\xa9"},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Descriptor, MarketingName, testing::ValuesIn(kNames), kByName);

// Promise: short-ids-have-no-name
TEST(Descriptor, IdBelowFourDigitsIsNotFoundHoweverItIsWritten) {
  ComponentFolder component;
  component.setDrives({drive(1, {{"deviceId", "0a54"}})});
  const auto entry = [](const std::string& deviceId) {
    return device("<PCIInfo deviceID=\"" + deviceId +
                  R"(" subDeviceID="1001" vendorID="f101" subVendorID="f1a0"/><Display>Name</Display>)");
  };
  writeFile(component / "package.xml", package(entry("a54") + entry("0a54") + entry("00a54")));
  EXPECT_EQ(
      component.run({"-i"}),
      (Outcome{0,
               inventoryDocument({listed(
                   {.display = "",
                    .ids = R"(vendorID="f101" deviceID="a54" subVendorID="f1a0" subDeviceID="1001")"})}),
               ""}));
}

TEST(Descriptor, ThousandsOfEntriesAreReadToTheLast) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  std::string devices;
  for (int i = 0; i < 5000; ++i) {
    devices += device(pciAnd("<Display>Name " + std::to_string(i) + "</Display>"));
  }
  writeFile(component / "package.xml", package(devices));
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({listed({.display = "Name 4999"})}), ""}));
}

// Promise: package-is-read-for-every-drive
TEST(Descriptor, IsReadAnewForEveryDrive) {
  ComponentFolder component;
  component.setDrives({drive(1), drive(2), drive(3)});
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}).exitStatus, 0);
  const std::vector<std::string> log = messages(readFile(component / "debug.log"));
  EXPECT_EQ(std::count(log.begin(), log.end(), "CSoftwareComponentInfo::Init() Exiting"), 3);
}

// Promise: package-is-read-for-every-drive
TEST(Descriptor, IsReadFromTheWorkingFolderAlone) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  const fs::path work = component.moveWorkingFolder();
  writeFile(component / "package.xml", package(device(pciAnd("<Display>Beside the executable</Display>"))));
  fs::remove(work / "package.xml");
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({listed({.display = ""})}), ""}));
}

struct UselessCase {
  const char* name;
  std::function<void(const fs::path&)> make;
};

class UselessDescriptor : public testing::TestWithParam<UselessCase> {};

TEST_P(UselessDescriptor, LeavesDrivesWithoutNamesAndIsLogged) {
  ComponentFolder component;
  component.setDrives({drive(1), drive(2)});
  const fs::path file = component / "package.xml";
  fs::remove(file);
  GetParam().make(file);

  ExpectedDrive second = expectedDrive(2);
  second.display = "";
  EXPECT_EQ(component.run({"-i", "-d"}),
            (Outcome{0, inventoryDocument({listed({.display = ""}), listed(second)}), ""}));
  const std::vector<std::string> whileReading = messagesBetween(
      readFile(component / "debug.log"), "Befoe creating the object of Software Component Info",
      "After creating the object of Software Component Info");
  EXPECT_THAT(whileReading, ElementsAre("Befoe creating the object of Software Component Info",
                                        "CSoftwareComponentInfo::Init() Document " + file.string() +
                                            " not parsed successfully ",
                                        "CSoftwareComponentInfo::Init() Exiting",
                                        "After creating the object of Software Component Info"));
}

namespace {

UselessCase textCase(const char* name, std::string_view text) {
  return {name, [text](const fs::path& file) { writeFile(file, text); }};
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(
    Descriptor, UselessDescriptor,
    testing::Values(textCase("Empty", ""), textCase("Text", "no XML at all\n"),
                    textCase("CutOff", "<SoftwareComponent><SupportedDevices><Device componentID=\"1\">"),
                    textCase("WithTwoRoots", "<SoftwareComponent/><SoftwareComponent/>"),
                    textCase("OfNuls", std::string_view("\0\0\0\0", 4)),
                    textCase("WithAnUndeclaredEntity",
                             "<SoftwareComponent><Display>&nothing;</Display></SoftwareComponent>"),
                    UselessCase{"AFolder", [](const fs::path& path) { fs::create_directory(path); }}),
    kByName);

TEST(Descriptor, MissingOneLeavesDrivesWithoutNames) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  fs::remove(component / "package.xml");
  const Outcome outcome = component.run({"-i", "-d"});
  EXPECT_EQ(outcome, (Outcome{0, inventoryDocument({listed({.display = ""})}), ""}));
  EXPECT_EQ(outcome.standardError, "");
  EXPECT_THAT(
      messagesBetween(readFile(component / "debug.log"),
                      "Befoe creating the object of Software Component Info",
                      "Setting the Display name to Marketing name: "),
      ElementsAre("Befoe creating the object of Software Component Info",
                  "After creating the object of Software Component Info",
                  "CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression",
                  "CSoftwareComponentInfo::GetSupportedDevices() Exiting",
                  "CSoftwareComponentInfo::getMarketingNameForPCIDevice() Exiting",
                  "Setting the Display name to Marketing name: "));
}

struct OutsideCase {
  const char* name;
  const char* declaration;  ///< the document type, {outside} standing for a file outside the component folder
  const char* reference;    ///< what the descriptor says for a name
};

void PrintTo(const OutsideCase& outside, std::ostream* stream) {
  *stream << outside.declaration;
}

class OutsideReference : public testing::TestWithParam<OutsideCase> {
 protected:
  /// Writes a descriptor that refers to the file.
  void refer(const fs::path& outside) const {
    std::string declaration = GetParam().declaration;
    const std::string_view placeholder = "{outside}";
    declaration.replace(declaration.find(placeholder), placeholder.size(), outside.string());
    const std::string name = "<Display>" + std::string(GetParam().reference) + "</Display>";
    writeFile(component / "package.xml", declaration + package(device(pciAnd(name))));
  }

  ComponentFolder component;
};

// Promise: nothing-is-fetched
TEST_P(OutsideReference, IsNeverOpened) {
  component.setDrives({drive(1)});
  const fs::path pipe = component.folderBeside("outside") / "pipe";  // whoever opens it hangs
  ASSERT_EQ(mkfifo(pipe.c_str(), 0666), 0);
  refer(pipe);
  EXPECT_EQ(component.run({"-i"}).exitStatus, 0);
}

// Promise: nothing-is-fetched
TEST_P(OutsideReference, IsNeverShown) {
  component.setDrives({drive(1)});
  const fs::path secret = component.folderBeside("outside") / "secret";
  writeFile(secret, "<!ENTITY local 'SECRET'>SECRET");
  refer(secret);
  const Outcome outcome = component.run({"-i", "-d"});
  EXPECT_EQ(outcome.exitStatus, 0);
  EXPECT_THAT(outcome.standardOutput, HasSubstr("</SVMInventory>"));
  EXPECT_THAT(outcome.standardOutput, Not(HasSubstr("SECRET")));
  EXPECT_THAT(outcome.standardError, Not(HasSubstr("SECRET")));
  EXPECT_THAT(readFile(component / "debug.log"), Not(HasSubstr("SECRET")));
}

INSTANTIATE_TEST_SUITE_P(
    Descriptor, OutsideReference,
    testing::Values(
        OutsideCase{"GeneralEntity", "<!DOCTYPE SoftwareComponent [<!ENTITY outside SYSTEM \"{outside}\">]>",
                    "&outside;"},
        OutsideCase{"GeneralEntityByUrl",
                    "<!DOCTYPE SoftwareComponent [<!ENTITY outside SYSTEM \"file://{outside}\">]>",
                    "&outside;"},
        OutsideCase{"ParameterEntity",
                    "<!DOCTYPE SoftwareComponent [<!ENTITY % outside SYSTEM \"{outside}\"> %outside;]>",
                    "&local;"},
        OutsideCase{"DocumentType", "<!DOCTYPE SoftwareComponent SYSTEM \"{outside}\">", "&local;"}),
    kByName);
