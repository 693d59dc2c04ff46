// The inventory: what the document says about each drive of the library, and where it goes.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

namespace fs = std::filesystem;
using nlohmann::json;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Inventory, OneDriveGivesThisDocument) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  const Outcome outcome = component.run({"-i", "-o", "out.xml"});
  EXPECT_EQ(outcome, (Outcome{0, "", ""}));
  EXPECT_EQ(outcome.standardError, "");
  EXPECT_EQ(
      readFile(component / "out.xml"),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SVMInventory lang=\"en\">"
      "<Device  vendorID=\"f101\" deviceID=\"a801\" subVendorID=\"f1a0\" subDeviceID=\"1001\"  "
      "display=\"Sample Drive\" enum = \"Serial Number: SIM1\" >"
      "<Application componentType=\"FRMW\"  version=\"SMP10101\"  display=\"\"/></Device></SVMInventory>");
  EXPECT_THAT(component.driveCalls(), ElementsAre("NVMEDiscoverDrives\t0", "NVMEGetDriveInfo\t41:42.43\t0"));
}

TEST(Inventory, SamplePackageNamesTheSampleDrives) {
  ComponentFolder component;
  copyFromSimulator("package.xml", component / "package.xml");
  component.settings.environment["NVME_SIMULATOR_SCENARIO"] =
      (fs::path(SIMULATOR_FOLDER) / "scenarios" / "three-drives.json").string();
  const auto sample = [](const char* serialNumber, const char* revision, const char* display,
                         const char* ids) {
    return listed({serialNumber, revision, display, ids});
  };
  EXPECT_EQ(
      component.run({"-i"}),
      (Outcome{0,
               inventoryDocument(
                   {sample("SIM0000000000001", "SMP10100", "Sample NVMe SSD S1 400GB 2.5in",
                           R"(vendorID="f101" deviceID="a801" subVendorID="f1a0" subDeviceID="1001")"),
                    sample("SIM0000000000002", "SMP20100", "Sample NVMe SSD S2 6.4TB 2.5in",
                           R"(vendorID="f101" deviceID="a802" subVendorID="f1a0" subDeviceID="1003")"),
                    sample("SIM0000000000003", "SMP30100", "Sample NVMe SSD Q1 7.6TB 2.5in",
                           R"(vendorID="f103" deviceID="c901" subVendorID="f1a0" subDeviceID="1001")")}),
               ""}));
}

class DriveCount : public testing::TestWithParam<std::size_t> {};

// Promise: status-inventory
TEST_P(DriveCount, ListsAllAndShiftsTheFoundLine) {
  ComponentFolder component;
  fs::remove(component / "package.xml");
  if (GetParam() > 0) {
    component.setDrives({drive(1, {{"repeat", GetParam()}, {"address", "00:00.0"}, {"serial", "S{n}"}})});
  }
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));

  std::vector<std::string> fragments;
  std::vector<std::string> foundLines;
  const std::string found = "Found a NVMePCISSD with drive number ";
  for (std::size_t i = 0; i < GetParam(); ++i) {
    fragments.push_back(listed({.serialNumber = "S" + std::to_string(i + 1), .display = ""}));
    foundLines.push_back(found.substr(std::min(i, found.size())));
  }
  EXPECT_EQ(readFile(component / "out.xml"), inventoryDocument(fragments));

  std::vector<std::string> shown;
  const std::vector<std::string> log = messages(readFile(component / "debug.log"));
  for (std::size_t i = 1; i < log.size(); ++i) {
    if (log[i].starts_with("CDeviceInfo::setPCIInfo() Device id  ")) shown.push_back(log[i - 1]);
  }
  EXPECT_EQ(shown, foundLines);
}

INSTANTIATE_TEST_SUITE_P(Inventory, DriveCount, testing::Values(0, 1, 2, 37, 38, 300),
                         testing::PrintToStringParamName());

struct DriveCase {
  const char* name;
  json changes;
  std::string fragment;
  bool breaksDocuments = false;
};

void PrintTo(const DriveCase& drive, std::ostream* stream) {
  *stream << drive.name << ' ' << drive.changes;
}

class DescribedDrive : public testing::TestWithParam<DriveCase> {};

// Promise: values-are-not-escaped, drive-texts-are-cut
TEST_P(DescribedDrive, IsListedAs) {
  ComponentFolder component;
  component.setDrives({drive(1, GetParam().changes), drive(2)});
  component.settings.breaksDocuments = GetParam().breaksDocuments;
  EXPECT_EQ(component.run({"-i"}),
            (Outcome{0, inventoryDocument({GetParam().fragment, listed(expectedDrive(2))}), ""}));
}

namespace {

json padded(const char* text, char padding) {
  return {{"text", text}, {"padding", std::string(1, padding)}};
}

DriveCase serialCase(const char* name, const json& field, const char* serialNumber) {
  return {name, {{"serial", field}}, listed({.serialNumber = serialNumber})};
}

/// A serial number that is written without escaping all the same.
DriveCase breakingSerialCase(const char* name, const char* field, const char* serialNumber) {
  DriveCase breaking = serialCase(name, field, serialNumber);
  breaking.breaksDocuments = true;
  return breaking;
}

DriveCase revisionCase(const char* name, const json& field, const char* revision) {
  return {name, {{"revision", field}}, listed({.revision = revision})};
}

DriveCase idsCase(const char* name, const json& ids, const char* display, const char* idTexts) {
  return {name, ids, listed({.display = display, .ids = idTexts})};
}

const DriveCase kDescribed[] = {
    serialCase("BlanksAroundSerialAreCut", "   SIM 1   ", "SIM 1"),
    serialCase("OtherWhiteSpaceAroundSerialIsCut", "\t\n\v\f\rSIM1\r\n", "SIM1"),
    serialCase("SerialOfBlanksLeavesTwo", "", "  "),
    serialCase("SerialOfNulsIsEmpty", padded("", '\0'), ""),
    serialCase("SerialEndsAtNul", padded("SIM", '\0'), "SIM"),
    serialCase("SerialOfOneBlankIsKept", padded(" ", '\0'), " "),
    serialCase("SerialOfOneCharacter", "S", "S"),
    serialCase("SerialOfFullWidth", "ABCDEFGHIJKLMNOPQRST", "ABCDEFGHIJKLMNOPQRST"),
    serialCase("SerialOfFullWidthInX", padded("ABCDEFGHIJKLMNOPQRS", 'x'), "ABCDEFGHIJKLMNOPQRSx"),
    breakingSerialCase("MarkupIsNotEscaped", "<a&b>\"'", "<a&b>\"'"),
    breakingSerialCase("RawBytesAreKept", "S\u00e9\u00ff\u0080\u0001", "S\xe9\xff\x80\x01"),
    revisionCase("RevisionKeepsItsBlanks", " A ", " A      "),
    revisionCase("RevisionOfBlanks", "", "        "),
    revisionCase("RevisionOfNulsIsEmpty", padded("", '\0'), ""),
    revisionCase("RevisionEndsAtNul", padded("AB", '\0'), "AB"),
    revisionCase("RevisionOfFullWidth", "ABCDEFGH", "ABCDEFGH"),
    idsCase("ShortDeviceIdMatchesNothing", {{"deviceId", "0a54"}}, "",
            R"(vendorID="f101" deviceID="a54" subVendorID="f1a0" subDeviceID="1001")"),
    idsCase("IdsOfZero", {{"vendorId", "0"}, {"deviceId", "0"}, {"subVendorId", "0"}, {"subDeviceId", "0"}},
            "", R"(vendorID="0" deviceID="0" subVendorID="0" subDeviceID="0")"),
    idsCase("IdsOfAllOnes",
            {{"vendorId", "ffff"}, {"deviceId", "ffff"}, {"subVendorId", "ffff"}, {"subDeviceId", "ffff"}},
            "", R"(vendorID="ffff" deviceID="ffff" subVendorID="ffff" subDeviceID="ffff")"),
    idsCase("EveryIdInItsPlace",
            {{"vendorId", "1"}, {"deviceId", "2"}, {"subVendorId", "3"}, {"subDeviceId", "4"}}, "",
            R"(vendorID="1" deviceID="2" subVendorID="3" subDeviceID="4")"),
    {"UnreadableRevisionIsAFailure", {{"revisionResult", 5}}, failed(kRevisionUnreadable)},
    {"NegativeRevisionResultIsAFailure", {{"revisionResult", -1}}, failed(kRevisionUnreadable)},
    {"ResetCodeIsNoSuccessForARevision", {{"revisionResult", 267}}, failed(kRevisionUnreadable)},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Inventory, DescribedDrive, testing::ValuesIn(kDescribed), kByName);

struct ModelCase {
  const char* name;
  json field;
  const char* logged;
};

class ModelNumber : public testing::TestWithParam<ModelCase> {};

TEST_P(ModelNumber, IsOnlyLogged) {
  ComponentFolder component;
  component.setDrives({drive(1, {{"model", GetParam().field}})});
  EXPECT_EQ(component.run({"-i", "-d"}), (Outcome{0, inventoryDocument({listed({})}), ""}));
  EXPECT_THAT(messages(readFile(component / "debug.log")),
              testing::Contains(std::string("NVMePCISSD Model Number: ") + GetParam().logged));
}

INSTANTIATE_TEST_SUITE_P(Inventory, ModelNumber,
                         testing::Values(ModelCase{"OfFullWidth", "0123456789012345678901234567890123456789",
                                                   "0123456789012345678901234567890123456789"},
                                         ModelCase{"WithBlanksAround", "  SAMPLE  MODEL  ", "SAMPLE  MODEL"},
                                         ModelCase{"OfBlanks", "", "  "},
                                         ModelCase{"OfNuls", padded("", '\0'), ""},
                                         ModelCase{"EndingAtNul", padded("SAMPLE", '\0'), "SAMPLE"}),
                         kByName);

struct DestinationCase {
  const char* name;
  const char* outputName;
};

void PrintTo(const DestinationCase& destination, std::ostream* stream) {
  *stream << destination.outputName;
}

class UnwritableOutput : public testing::TestWithParam<DestinationCase> {};

// Promise: document-on-standard-output
TEST_P(UnwritableOutput, SendsTheDocumentToStandardOutput) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  EXPECT_EQ(component.run({"-i", "-o", GetParam().outputName}),
            (Outcome{0, inventoryDocument({listed({})}), ""}));
  EXPECT_EQ(component.run({"-u", "-o", GetParam().outputName}),
            (Outcome{0, updateDocument({updated({})}), ""}));
  EXPECT_FALSE(fs::exists(component / "missing"));
}

INSTANTIATE_TEST_SUITE_P(Output, UnwritableOutput,
                         testing::Values(DestinationCase{"InAMissingFolder", "missing/out.xml"},
                                         DestinationCase{"AFolder", "payload"},
                                         DestinationCase{"BelowAFile", "package.xml/out.xml"}),
                         kByName);

// Promise: umask-and-links
TEST(Inventory, ExistingOutputIsOverwritten) {
  ComponentFolder component;
  writeFile(component / "out.xml", std::string(100000, 'x'));
  EXPECT_EQ(component.run({"-i", "-o", "out.xml"}), (Outcome{0, "", ""}));
  EXPECT_EQ(readFile(component / "out.xml"), inventoryDocument({}));
}

// Promise: umask-and-links
TEST(Inventory, FollowsLinksAndObeysTheUmask) {
  ComponentFolder component;
  const fs::path results = component.folderBeside("results");
  fs::create_symlink(results / "real.xml", component / "out.xml");
  fs::create_symlink(results / "real.log", component / "out.log");
  const mode_t before = umask(027);
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d", "out.log"}), (Outcome{0, "", ""}));
  umask(before);
  EXPECT_EQ(readFile(results / "real.xml"), inventoryDocument({}));
  for (const char* const name : {"real.xml", "real.log"}) {
    EXPECT_EQ(fs::status(results / name).permissions(), fs::perms(0640)) << name;
  }
}

// Promise: silent-on-standard-error
TEST(Inventory, WritesNothingToStandardError) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  EXPECT_EQ(component.run({"-i"}).standardError, "");
  EXPECT_EQ(component.run({"-u", "-o", "missing/out.xml", "-d", "missing/log"}).standardError, "");
}

TEST(Inventory, AbsoluteOutputNameIsTakenAsItIs) {
  ComponentFolder component;
  const fs::path output = component.folderBeside("results") / "with blank.xml";
  EXPECT_EQ(component.run({"-i", "-o", output}), (Outcome{0, "", ""}));
  EXPECT_EQ(readFile(output), inventoryDocument({}));
}

/// A working folder that is not writable.
class ReadOnlyWorkingFolder : public testing::Test {
 protected:
  ReadOnlyWorkingFolder() : work(component.moveWorkingFolder()) {
    component.settings.isPrivileged = false;
    component.setDrives({drive(1)});
    fs::permissions(work, kWriters, fs::perm_options::remove);
  }
  ~ReadOnlyWorkingFolder() override {
    std::error_code ignored;
    fs::permissions(work, fs::perms::owner_write, fs::perm_options::add, ignored);
  }

  static constexpr fs::perms kWriters =
      fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
  ComponentFolder component;
  const fs::path work;
};

TEST_F(ReadOnlyWorkingFolder, SendsTheDocumentToStandardOutputAndKeepsNoLog) {
  const std::vector<std::string> before = ComponentFolder::namesIn(work);
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}), (Outcome{0, inventoryDocument({listed({})}), ""}));
  EXPECT_EQ(ComponentFolder::namesIn(work), before);
}

TEST_F(ReadOnlyWorkingFolder, KeepsNoLogForTheMarkerFileEither) {
  fs::permissions(work, fs::perms::owner_write, fs::perm_options::add);
  writeFile(work / "enabledebug.txt", "");
  fs::permissions(work, kWriters, fs::perm_options::remove);
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({listed({})}), ""}));
  EXPECT_FALSE(fs::exists(work / "baseutils.log"));
}

TEST_F(ReadOnlyWorkingFolder, DoesNotMatterForAnOutputElsewhere) {
  const fs::path results = component.folderBeside("results");
  fs::permissions(results, fs::perms::all);
  EXPECT_EQ(component.run({"-i", "-o", results / "out.xml", "-d", results / "trace"}), (Outcome{0, "", ""}));
  EXPECT_EQ(readFile(results / "out.xml"), inventoryDocument({listed({})}));
  EXPECT_TRUE(fs::exists(results / "trace"));
}

struct DiscoveryCase {
  const char* name;
  int result;
  const char* logged;
};

class FailedDiscovery : public testing::TestWithParam<DiscoveryCase> {};

// Promise: inventory-without-drives-is-0
TEST_P(FailedDiscovery, ListsNothingAndIsLoggedUnsigned) {
  ComponentFolder component;
  component.setDrives({drive(1)}, {{"discoveryResult", GetParam().result}});
  EXPECT_EQ(component.run({"-i", "-d"}), (Outcome{0, inventoryDocument({}), ""}));
  EXPECT_THAT(
      messagesBetween(readFile(component / "debug.log"),
                      "Invoking Samsung API to get NVMe PCISSD disks' discovery/inventory data",
                      "WARNING: Could not able to found atleast one NVMePCISSD Device also"),
      ElementsAre("Invoking Samsung API to get NVMe PCISSD disks' discovery/inventory data",
                  "ERROR: Samung API NVMEDiscoverDrives failed to collect NVMe PCISSD disks' inventory",
                  std::string("ERROR INFO: API return value = ") + GetParam().logged,
                  "Leaving CNVMeAdapter::DiscoverNVMeDevices()",
                  "WARNING: Could not able to found atleast one NVMePCISSD Device also"));
  EXPECT_EQ(component.run({"-u"}), (Outcome{1, updateDocument({}), ""}));
  EXPECT_THAT(component.flashCalls(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Inventory, FailedDiscovery,
                         testing::Values(DiscoveryCase{"With1", 1, "1"},
                                         DiscoveryCase{"WithTheResetCode", 267, "267"},
                                         DiscoveryCase{"WithMinus1", -1, "4294967295"},
                                         DiscoveryCase{"WithTheSmallest", -2147483647 - 1, "2147483648"}),
                         kByName);
