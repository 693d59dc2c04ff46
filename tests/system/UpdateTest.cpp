// The update: what happens to every drive and to the payload, and what the document says.

#include <gmock/gmock.h>

#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

namespace fs = std::filesystem;
using nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// Promise: every-drive-is-flashed
TEST(Update, TwoDrivesGiveThisDocument) {
  ComponentFolder component;
  component.setDrives({drive(1), drive(2, {{"updateResult", -1}})});
  const Outcome outcome = component.run({"-u", "-o", "out.xml"});
  EXPECT_EQ(outcome, (Outcome{0, "", ""}));
  EXPECT_EQ(outcome.standardError, "");
  EXPECT_EQ(
      readFile(component / "out.xml"),
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?><SVMExecution lang=\"en\">"
      "<Device  vendorID=\"f101\" deviceID=\"a801\" subVendorID=\"f1a0\" subDeviceID=\"1001\" "
      "display=\"Sample Drive\" enum = \"Serial Number: SIM1\" >"
      "<Application componentType=\"FRMW\" version=\"SMP10101\" display=\"\" >"
      "<SPStatus result = \"true\" ><Message id=\"0\" >Success</Message></SPStatus></Application></Device>"
      "<SPStatus result = \"false\" ><Message id=\"0\" >ERROR: Failed to Update Firmware</Message></SPStatus>"
      "</SVMExecution>");
  const std::string payload = component.payload();
  EXPECT_THAT(component.driveCalls(),
              ElementsAre("NVMEDiscoverDrives\t0", "NVMEGetDriveInfo\t41:42.43\t0",
                          "NVMEGetDriveInfo\t42:42.43\t0", "NVMEUpdateFirmware\t41:42.43\t" + payload + "\t0",
                          "NVMEUpdateFirmware\t42:42.43\t" + payload + "\t-1"));
  EXPECT_THAT(component.rollbackCalls(), ElementsAre("constructor", "addPayloadFiles\t" + payload + "\ttrue",
                                                     "updateFirmwarePartition", "destructor"));
  EXPECT_EQ(readFile(component.partition() / "firmware.bin"), readFile(payload));
}

struct FlashCase {
  const char* name;
  std::vector<json> drives;
  std::vector<std::string> fragments;
  const char* summary;
  std::vector<std::string> codes;  ///< of the failures, as they are logged
};

void PrintTo(const FlashCase& flash, std::ostream* stream) {
  *stream << json(flash.drives);
}

class Flashing : public testing::TestWithParam<FlashCase> {
 protected:
  Flashing() { component.setDrives(GetParam().drives); }

  bool someSucceeded() const { return GetParam().codes.size() < GetParam().drives.size(); }

  ComponentFolder component;
};

// Promise: status-0-says-nothing, failed-drive-has-no-name, next-drive-is-flashed
TEST_P(Flashing, MarksFailuresAndGoesOn) {
  EXPECT_EQ(component.run({"-u", "-d"}), (Outcome{0, updateDocument(GetParam().fragments), ""}));
  EXPECT_THAT(component.flashCalls(), testing::SizeIs(GetParam().drives.size()));

  const std::string prefix = "ERROR INFO: API return value = ";
  std::vector<std::string> codes;
  const std::vector<std::string> log = messages(readFile(component / "debug.log"));
  for (const std::string& message : log) {
    if (message.starts_with(prefix)) codes.push_back(message.substr(prefix.size()));
  }
  EXPECT_EQ(codes, GetParam().codes);
  EXPECT_THAT(log, Contains(GetParam().summary));
}

// Promise: rollback-after-a-success
TEST_P(Flashing, FillsTheRollbackPartitionOnceADriveSucceeded) {
  EXPECT_EQ(component.run({"-u"}).exitStatus, 0);
  EXPECT_EQ(component.rollbackCalls().size(), someSucceeded() ? 4U : 0U);
  EXPECT_EQ(fs::exists(component.partition() / "firmware.bin"), someSucceeded());
}

// Promise: old-revision-in-the-update
TEST_P(Flashing, ShowsInALaterInventory) {
  EXPECT_EQ(component.run({"-u", "-o", component / "out.xml"}), (Outcome{0, "", ""}));
  std::vector<std::string> fragments;
  for (std::size_t i = 0; i < GetParam().drives.size(); ++i) {
    const int result = GetParam().drives[i].value("updateResult", 0);
    ExpectedDrive expected = expectedDrive(static_cast<int>(i) + 1);
    if (result == 0 || result == 267) expected.revision = "SMP90200";
    const bool isReadable = GetParam().drives[i].value("revisionResult", 0) == 0;
    fragments.push_back(isReadable ? listed(expected) : failed(kRevisionUnreadable));
  }
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument(fragments), ""}));
}

namespace {

json ending(int result) {
  return {{"updateResult", result}};
}

std::string good(int number) {
  return updated(expectedDrive(number));
}
const std::string kBad = failed(kUpdateFailed);

const FlashCase kFlashes[] = {
    {"FirstOfTwoFails",
     {drive(1, ending(-1)), drive(2)},
     {kBad, good(2)},
     "1 NVMEPCISSD drives updated succesfully out of 2 NVMEPCISSD Drives",
     {"4294967295"}},
    {"SecondOfTwoFails",
     {drive(1), drive(2, ending(1))},
     {good(1), kBad},
     "1 NVMEPCISSD drives updated succesfully out of 2 NVMEPCISSD Drives",
     {"1"}},
    {"MiddleOfThreeSucceeds",
     {drive(1, ending(2)), drive(2), drive(3, ending(3))},
     {kBad, good(2), kBad},
     "1 NVMEPCISSD drives updated succesfully out of 3 NVMEPCISSD Drives",
     {"2", "3"}},
    {"AllFail",
     {drive(1, ending(266)), drive(2, ending(268))},
     {kBad, kBad},
     "0 NVMEPCISSD drives updated succesfully out of 2 NVMEPCISSD Drives",
     {"266", "268"}},
    {"AllWantAReset",
     {drive(1, ending(267)), drive(2, ending(267))},
     {good(1), good(2)},
     "2 NVMEPCISSD drives updated succesfully out of 2 NVMEPCISSD Drives",
     {}},
    {"OnlyTheResetSucceeds",
     {drive(1, ending(5)), drive(2, ending(267))},
     {kBad, good(2)},
     "1 NVMEPCISSD drives updated succesfully out of 2 NVMEPCISSD Drives",
     {"5"}},
    {"ExtremeCodes",
     {drive(1, ending(-2147483647 - 1)), drive(2, ending(2147483647)), drive(3, ending(-267))},
     {kBad, kBad, kBad},
     "0 NVMEPCISSD drives updated succesfully out of 3 NVMEPCISSD Drives",
     {"2147483648", "2147483647", "4294967029"}},
    {"UnreadableRevisionFlashesWell",
     {drive(1, {{"revisionResult", 9}})},
     {failed(kRevisionUnreadable)},
     "1 NVMEPCISSD drives updated succesfully out of 1 NVMEPCISSD Drives",
     {}},
    {"UnreadableRevisionFailsToFlash",
     {drive(1, {{"revisionResult", 9}, {"updateResult", 4}}), drive(2)},
     {kBad, good(2)},
     "1 NVMEPCISSD drives updated succesfully out of 2 NVMEPCISSD Drives",
     {"4"}},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(Update, Flashing, testing::ValuesIn(kFlashes), kByName);

// Promise: status-update-without-drives
TEST(Update, WithoutDrivesFailsAfterAnEmptyDocument) {
  ComponentFolder component;
  EXPECT_EQ(component.run({"-u", "-o", "out.xml", "-d"}), (Outcome{1, "", ""}));
  EXPECT_EQ(readFile(component / "out.xml"), updateDocument({}));
  const std::vector<std::string> log = messages(readFile(component / "debug.log"));
  EXPECT_THAT(log, Contains("0 NVMEPCISSD drives updated succesfully out of 0 NVMEPCISSD Drives"));
  EXPECT_THAT(log, Contains("WARNING: m_vDevicesInfo is empty. There seems to be no NVMe PCISSD disk ??"));
  EXPECT_EQ(log.back(), "nvmePCISSDMgr.Update or nvmePCISSDMgr.inventory is failed");
  EXPECT_THAT(component.rollbackCalls(), IsEmpty());
}

TEST(Update, OfHundredsOfDrivesMarksEveryOne) {
  ComponentFolder component;
  component.setDrives({drive(1, {{"repeat", 300}, {"address", "00:00.0"}, {"updateResult", 7}})});
  EXPECT_EQ(component.run({"-u"}), (Outcome{0, updateDocument(std::vector<std::string>(300, kBad)), ""}));
}

struct PlaceCase {
  const char* name;
  int updateResult;
  bool isAbsolute;
  const char* folder;  ///< where the document lands, beside the component folder unless it is that itself
};

class OutputPlace : public testing::TestWithParam<PlaceCase> {};

// Promise: document-on-standard-output, debug-log-place
TEST_P(OutputPlace, IsTheFolderOfThatMoment) {
  ComponentFolder component;
  const fs::path work = component.moveWorkingFolder();
  const fs::path results = component.folderBeside("results");
  component.setDrives({drive(1, ending(GetParam().updateResult))});
  const fs::path name = "out.xml";
  EXPECT_EQ(component.run({"-u", "-o", GetParam().isAbsolute ? results / name : name, "-d"}),
            (Outcome{0, "", ""}));

  for (const fs::path& folder : {component.path(), work, results}) {
    SCOPED_TRACE(folder);
    EXPECT_EQ(fs::exists(folder / name), folder.filename() == GetParam().folder);
  }
  EXPECT_EQ(readFile(component.folderBeside(GetParam().folder) / name),
            updateDocument({GetParam().updateResult == 0 ? good(1) : kBad}));
  EXPECT_TRUE(fs::exists(work / "debug.log"));
}

INSTANTIATE_TEST_SUITE_P(Update, OutputPlace,
                         testing::Values(PlaceCase{"RelativeAfterRollback", 0, false, "component"},
                                         PlaceCase{"RelativeWithoutRollback", 1, false, "work"},
                                         PlaceCase{"AbsoluteAfterRollback", 0, true, "results"},
                                         PlaceCase{"AbsoluteWithoutRollback", 1, true, "results"}),
                         kByName);
