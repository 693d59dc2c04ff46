// The debug log of whole runs, and the marker file that starts one.

#include <gmock/gmock.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

namespace fs = std::filesystem;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;

class DebugLog : public testing::Test {
 protected:
  DebugLog() { component.setDrives({drive(1)}); }

  void putMarker() const { writeFile(component / "enabledebug.txt", ""); }
  bool exists(const char* name) const { return fs::exists(component / name); }
  void expectInventory(const std::vector<std::string>& arguments) const {
    EXPECT_EQ(component.run(arguments), (Outcome{0, inventoryDocument({listed({})}), ""}));
  }

  ComponentFolder component;
};

TEST_F(DebugLog, OfAOneDriveInventory) {
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));
  expectLog("one-drive-inventory", readFile(component / "debug.log"), component.path());
}

TEST_F(DebugLog, OfAnInventoryWithoutDrives) {
  component.setDrives({});
  EXPECT_EQ(component.run({"-i", "-d"}), (Outcome{0, inventoryDocument({}), ""}));
  expectLog("no-drives", readFile(component / "debug.log"), component.path());
}

TEST_F(DebugLog, StartedByTheMarkerEndsWithTheSecondDrive) {
  putMarker();
  component.setDrives({drive(1), drive(2)});
  EXPECT_EQ(component.run({"-i", "-o", "out.xml"}), (Outcome{0, "", ""}));
  EXPECT_EQ(readFile(component / "out.xml"), inventoryDocument({listed({}), listed(expectedDrive(2))}));
  expectLog("marker-file", readFile(component / "baseutils.log"), component.path());
  EXPECT_FALSE(exists("debug.log"));
}

// Promise: marker-log
TEST_F(DebugLog, StartedByTheMarkerHoldsTheRestOfAOneDriveRun) {
  putMarker();
  expectInventory({"-i"});
  const std::vector<std::string> log = messages(readFile(component / "baseutils.log"));
  ASSERT_THAT(log, Not(IsEmpty()));
  EXPECT_EQ(log.front(), "CSoftwareComponentInfo::Init() Exiting");
  EXPECT_EQ(log.back(), "After nvmePCISSDMgr.Inventory ");
}

// Promise: marker-silences-the-log
TEST_F(DebugLog, AskedForEndsWhereTheMarkerWouldStartOne) {
  putMarker();
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));
  EXPECT_EQ(readFile(component / "out.xml"), inventoryDocument({listed({})}));
  expectLog("marker-file-and-log", readFile(component / "debug.log"), component.path());
  EXPECT_FALSE(exists("baseutils.log"));
}

// Promise: marker-file
TEST_F(DebugLog, IsNotStartedByTheMarkerWithoutDrives) {
  putMarker();
  component.setDrives({});
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({}), ""}));
  EXPECT_FALSE(exists("baseutils.log"));
}

// Promise: marker-log
TEST_F(DebugLog, OfTheMarkerIsEmptiedFirst) {
  putMarker();
  writeFile(component / "baseutils.log", "before\n");
  expectInventory({"-i"});
  EXPECT_EQ(readFile(component / "baseutils.log").find("before"), std::string::npos);
}

TEST_F(DebugLog, OfTheMarkerThatCannotBeOpenedChangesNothing) {
  putMarker();
  fs::create_directory(component / "baseutils.log");
  expectInventory({"-i"});
}

// Promise: marker-file
TEST_F(DebugLog, MarkerBesideTheExecutableAloneIsNotSeen) {
  putMarker();
  const fs::path work = component.moveWorkingFolder();
  expectInventory({"-i"});
  EXPECT_FALSE(exists("baseutils.log"));
  EXPECT_FALSE(fs::exists(work / "baseutils.log"));
}

// Promise: debug-log-place
TEST_F(DebugLog, HoldsTheLastRunOnly) {
  component.setDrives({drive(1), drive(2)});
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}).exitStatus, 0);
  component.setDrives({drive(1)});
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}).exitStatus, 0);
  expectLog("one-drive-inventory", readFile(component / "debug.log"), component.path());
}

TEST_F(DebugLog, HasTheNameThatIsGiven) {
  const fs::path log = component.folderBeside("logs") / "trace of a run";
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d", log}), (Outcome{0, "", ""}));
  expectLog("one-drive-inventory", readFile(log), component.path());
  EXPECT_FALSE(exists("debug.log"));
}

TEST_F(DebugLog, ThatCannotBeOpenedChangesNothing) {
  for (const char* const name : {"missing/debug.log", "payload", "package.xml/debug.log"}) {
    SCOPED_TRACE(name);
    const std::vector<std::string> before = ComponentFolder::namesIn(component.path());
    expectInventory({"-i", "-d", name});
    EXPECT_EQ(ComponentFolder::namesIn(component.path()), before);
  }
}

TEST_F(DebugLog, ShowsAddressesAsRawBytes) {
  component.setDrives({drive(1, {{"address", "ff:00.01"}})});
  expectInventory({"-i", "-d"});
  const std::vector<std::string> log = messages(readFile(component / "debug.log"));
  EXPECT_THAT(log, Contains("CNVMeAdapter::setBDFInfo() Bus Number is  \xff"));
  EXPECT_THAT(log, Contains(std::string("CNVMeAdapter::setBDFInfo() Device Number is  ") + '\0'));
  EXPECT_THAT(log, Contains("CNVMeAdapter::setBDFInfo() Function Number is  \x01"));
}

TEST_F(DebugLog, OfATwoDriveUpdate) {
  component.setDrives({drive(1), drive(2, {{"updateResult", -1}})});
  EXPECT_EQ(component.run({"-u", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));
  expectLog("two-drive-update", readFile(component / "debug.log"), component.path());
}

TEST_F(DebugLog, OfARefusedPayload) {
  writeFile(component / "payload" / "second.bin", "another\n");
  EXPECT_EQ(component.run({"-u", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));
  expectLog("refused-payload", readFile(component / "debug.log"), component.path());
}

TEST_F(DebugLog, OfARollbackThatThrows) {
  component.setRollback({{"updateFirmwarePartition", {{"throwByte", 10}}}});
  EXPECT_EQ(component.run({"-u", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));
  expectLog("rollback-throws", readFile(component / "debug.log"), component.path());
}
