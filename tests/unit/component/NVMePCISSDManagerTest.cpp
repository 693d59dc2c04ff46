#include "NVMePCISSDManager.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "CoreTest.h"
#include "InventoryXMLWriter.h"
#include "NVMePCISSDInventory.h"
#include "NVMePCISSDUpdate.h"
#include "OutputCapture.h"
#include "UpdateXMLWriter.h"

namespace {

namespace fs = std::filesystem;

constexpr char kInventoryBegin[] = R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">)";
constexpr char kInventoryEnd[] = "</SVMInventory>";
constexpr char kUpdateBegin[] = R"(<?xml version="1.0" encoding="UTF-8"?><SVMExecution lang="en">)";
constexpr char kUpdateEnd[] = "</SVMExecution>";
constexpr char kRefused[] =
    R"(<SPStatus result = "false" ><Message id="0" >ERROR: Failed to Update Firmware</Message></SPStatus>)";

constexpr char kNoDrivesInventory[] =
    "WARNING: vDeviceInfo is empty, No NVMe PCISSD devices found. Possibility for an ERROR.";
constexpr char kNoDrivesUpdate[] =
    "WARNING: m_vDevicesInfo is empty. There seems to be no NVMe PCISSD disk ??";

class NVMePCISSDManagerTest : public CoreTest {
 protected:
  NVMePCISSDManagerTest() { writeFile(component / "payload/Firmware.bin", "firmware"); }

  using Command = bool (CNVMePCISSDManager::*)();

  /// Makes a manager, checks its first line, runs one command and deletes the manager.
  bool run(Command command, const std::string& outputFileName) {
    logged();
    CNVMePCISSDManager manager(outputFileName);
    EXPECT_EQ(logged(), Lines{"Output file name is: " + outputFileName});
    return (manager.*command)();
  }
  bool inventory() { return run(&CNVMePCISSDManager::Inventory, output.string()); }
  bool update() { return run(&CNVMePCISSDManager::Update, output.string()); }

  /// Runs the command while the first allocation of `size` bytes fails.
  bool runWithoutMemory(Command command, std::size_t size) {
    const AllocationFault fault(AllocationFault::kReturnsNull, size);
    return run(command, output.string());
  }

  static std::string inventoryDevice(const std::string& serial, const std::string& revision) {
    return R"(<Device  vendorID="144d" deviceID="a808" subVendorID="1a2b" subDeviceID="a801"  display="" )"
           R"(enum = "Serial Number: )" +
           serial + R"(" ><Application componentType="FRMW"  version=")" + revision +
           R"("  display=""/></Device>)";
  }
  static std::string updatedDevice(const std::string& serial, const std::string& revision) {
    return R"(<Device  vendorID="144d" deviceID="a808" subVendorID="1a2b" subDeviceID="a801" display="" )"
           R"(enum = "Serial Number: )" +
           serial + R"(" ><Application componentType="FRMW" version=")" + revision +
           R"(" display="" ><SPStatus result = "true" ><Message id="0" >Success</Message></SPStatus>)" +
           "</Application></Device>";
  }

  static Lines inventoryBeginLines() {
    return {"Creating an instance of CNVMePCISSDInventory() using auto_ptr",
            "Calling GetInventory() to get inventory information in a vector"};
  }
  static Lines inventoryOperationLines(const std::vector<FakeDrive>& drives) {
    return all({initializeLines(),
                discoveryLines(drives),
                {drives.empty() ? "WARNING: Could not able to found atleast one NVMePCISSD Device also"
                                : "INFO: Found atleast one NVMePCISSD Devices"}});
  }
  /// The writer's lines for `drives` successful drives, up to its destructor's.
  static Lines inventoryWriterLines(std::size_t drives) {
    return all({{"CInventoryXMLWriter::CInventoryXMLWriter() In Constructor Method",
                 "Creating XML file for inventory information", "CInventoryXMLWriter::GetXML() Entering",
                 "CInventoryXMLWriter::GetXML() udpate xml file opened",
                 "CInventoryXMLWriter::addXMLHeader() In addXMLHeader Method",
                 "CInventoryXMLWriter::addInventoryHeader() In addInventoryHeader Method"},
                Lines(drives, "CInventoryXMLWriter::GetXML() Found one PCI Device"),
                {"CInventoryXMLWriter::addInventoryFooter() In addInventoryFooter Method",
                 "CInventoryXMLWriter::print() Entering",
                 "CInventoryXMLWriter::print() copying the contents to Inventory XML file",
                 "CInventoryXMLWriter::print() Exiting", "CInventoryXMLWriter::GetXML() Exiting"}});
  }
  static Lines inventoryEndLines() {
    return all({{"CInventoryXMLWriter::CInventoryXMLWriter() In Destructor Method",
                 "Leaving CNVMePCISSDManager::Inventory"},
                tearDownLines()});
  }
  /// The lines after the update's document.
  static Lines updateEndLines() {
    return all(
        {{"CUpdateXMLWriter::~CUpdateXMLWriter() In Destructor Method", "Leaving CNVMePCISSDManager::Update"},
         nothingToTearDownLines()});
  }

  /// The line `start` and all lines after it.
  Lines loggedFrom(const std::string& start) {
    const Lines lines = logged();
    return Lines(std::find(lines.begin(), lines.end(), start), lines.end());
  }

  const fs::path output = work / "result.xml";
  ScriptedRollback rollback;
};

TEST_F(NVMePCISSDManagerTest, InventoryOfTwoDrivesWholeLogAndDocument) {
  addDrives(2);
  EXPECT_TRUE(inventory());
  EXPECT_EQ(logged(), all({inventoryBeginLines(),
                           inventoryOperationLines(library.drives),
                           {"Done. Received inventory information in a vector"},
                           inventoryWriterLines(2),
                           inventoryEndLines()}));
  EXPECT_EQ(readFile(output), kInventoryBegin + inventoryDevice("SN1", "EXF1") +
                                  inventoryDevice("SN2", "EXF2") + kInventoryEnd);
}

TEST_F(NVMePCISSDManagerTest, InventoryWithoutDrivesWarnsAndSucceeds) {
  EXPECT_TRUE(inventory());
  EXPECT_EQ(logged(), all({inventoryBeginLines(),
                           inventoryOperationLines({}),
                           {"Done. Received inventory information in a vector"},
                           inventoryWriterLines(0),
                           {kNoDrivesInventory},
                           inventoryEndLines()}));
  EXPECT_EQ(readFile(output), std::string(kInventoryBegin) + kInventoryEnd);
}

TEST_F(NVMePCISSDManagerTest, InventoryWithoutLibraryWarnsAndSucceeds) {
  platform.libraries.clear();
  EXPECT_TRUE(inventory());
  const Lines lines = logged();
  EXPECT_EQ(std::count(lines.begin(), lines.end(), kNoDrivesInventory), 1);
  EXPECT_EQ(readFile(output), std::string(kInventoryBegin) + kInventoryEnd);
}

TEST_F(NVMePCISSDManagerTest, DocumentGoesToStandardOutputWhenItsFileCannotBeOpened) {
  addDrives(1);
  for (const std::string& name :
       {std::string(), (work / "missing/result.xml").string(), work.path().string()}) {
    SCOPED_TRACE(name);
    const OutputCapture standardOutput;
    EXPECT_TRUE(run(&CNVMePCISSDManager::Inventory, name));
    EXPECT_EQ(standardOutput.text(), kInventoryBegin + inventoryDevice("SN1", "EXF1") + kInventoryEnd);
    for (const std::string& line : logged()) EXPECT_FALSE(line.starts_with("ERROR: ")) << line;
  }
}

TEST_F(NVMePCISSDManagerTest, InventoryWhoseFileThrowsOnOpeningSucceedsWithAnError) {
  CNVMePCISSDManager manager(output.string());
  {
    const AllocationFault fault(AllocationFault::kThrowsBadAlloc, BUFSIZ);  // the file's buffer
    EXPECT_TRUE(manager.Inventory());
  }
  EXPECT_EQ(loggedFrom("CInventoryXMLWriter::GetXML() Entering"),
            all({{"CInventoryXMLWriter::GetXML() Entering",
                  "CInventoryXMLWriter::GetXML() exception caught during file opening std::bad_alloc",
                  kNoDrivesInventory, "ERROR: Creating XML file for inventory is failed"},
                 inventoryEndLines()}));
}

TEST_F(NVMePCISSDManagerTest, InventoryWithoutMemoryForTheOperationFails) {
  addDrives(1);
  EXPECT_FALSE(runWithoutMemory(&CNVMePCISSDManager::Inventory, sizeof(CNVMePCISSDInventory)));
  EXPECT_EQ(logged(), (Lines{"Creating an instance of CNVMePCISSDInventory() using auto_ptr",
                             "ERROR: Creating an instance of CNVMePCISSDInventory using auto_ptr failed."}));
  EXPECT_EQ(platform.calls, Lines{});
  EXPECT_FALSE(fs::exists(output));
}

TEST_F(NVMePCISSDManagerTest, InventoryWithoutMemoryForTheWriterFailsAndTearsDown) {
  addDrives(1);
  EXPECT_FALSE(runWithoutMemory(&CNVMePCISSDManager::Inventory, sizeof(CInventoryXMLWriter)));
  EXPECT_EQ(loggedFrom("Done. Received inventory information in a vector"),
            all({{"Done. Received inventory information in a vector",
                  "ERROR: Creating an instance of CInventoryXMLWriter using auto_ptr failed!"},
                 tearDownLines()}));
  EXPECT_FALSE(fs::exists(output));
}

TEST_F(NVMePCISSDManagerTest, UpdateOfTwoDrivesWholeLogAndDocument) {
  addDrives(2);
  library.drives[0].updateResult = 5;
  EXPECT_TRUE(update());
  const std::string payload = (component / "payload/Firmware.bin").string();
  EXPECT_EQ(
      logged(),
      all({{"Creating auto_ptr to CNVMePCISSDUpdate instance"},
           initializeLines(),
           {"CNVMePCISSDUpdate::Update  Before GetInventory() "},
           installLines(),
           discoveryLines(library.drives),
           {"INFO: Found atleast one NVMePCISSD Devices", "CNVMePCISSDUpdate::Update  After GetInventory() ",
            "Payload file name is: " + payload, "Updating the firmware for NVMeDevcice",
            "ERROR: Update firmware failed for NVMeDevcice", "ERROR INFO: API return value = 5",
            "Updating the firmware for NVMeDevcice", "Update firmware done for NVMeDevcice Succesfully",
            "1 NVMEPCISSD drives updated succesfully out of 2 NVMEPCISSD Drives",
            "INFO: At lease one NVMe PCISSD disk firmware update is successful. Rollback is mandatory now",
            "Entering CNVMePCISSDUpdate::populateRollPartition()",
            "CBackplaneExecution::PopulateRollbackPartition() start",
            "CRollBackPopulator::::PopulateRollbackPartition:Populate File Size is:1",
            "Payload File" + payload,
            "CRollBackPopulator::::PopulateRollbackPartition updateFormwarePartition retVal",
            "CRollBackPopulator::PopulateRollbackPartition->END",
            "CRollBackPopulator::::PopulateRollbackPartition() END",
            "Leaving CBackplanePassiveExecution::populateRollPartition()",
            "INFO: Populating the rollback partition is success"},
           tearDownLines(),
           {"Leaving CNVMePCISSDUpdate::Update()",
            "CUpdateXMLWriter::CUpdateXMLWriter() In Constructor Method",
            "Creating XML file instance for update", "CUpdateXMLWriter::GetXML() Entering",
            "CUpdateXMLWriter::GetXML() udpate xml file opened",
            "CUpdateXMLWriter::addXMLHeader() In addXMLHeader Method",
            "CUpdateXMLWriter::addUpdateHeader() In addUpdateHeader Method",
            "CUpdateXMLWriter::GetXML() Update failed for one Device",
            "CUpdateXMLWriter::GetXML() Found one PCI Device",
            "CUpdateXMLWriter::addRebootRequiredStatus() In addRebootRequiredStatus Method",
            "CUpdateXMLWriter::addUpdateFooter() In addUpdateFooter Method",
            "CUpdateXMLWriter::print() Entering",
            "CUpdateXMLWriter::print() copying the contents to Update XML file",
            "CUpdateXMLWriter::print() Exiting", "CUpdateXMLWriter::GetXML() Exiting",
            "INFO: Successfully created XML file for update."},
           updateEndLines()}));
  EXPECT_EQ(readFile(output),
            std::string(kUpdateBegin) + kRefused + updatedDevice("SN2", "EXF2") + kUpdateEnd);
}

TEST_F(NVMePCISSDManagerTest, UpdateOfWhichEveryDriveFailsSucceeds) {
  addDrives(2);
  for (FakeDrive& drive : library.drives) drive.updateResult = -1;
  EXPECT_TRUE(update());
  EXPECT_EQ(readFile(output), std::string(kUpdateBegin) + kRefused + kRefused + kUpdateEnd);
  EXPECT_EQ(logged().back(), updateEndLines().back());
}

TEST_F(NVMePCISSDManagerTest, UpdateWithRefusedPayloadSucceedsWithTheRecordsOfDiscovery) {
  addDrives(2);
  library.drives[1].infoResult = 1;
  writeFile(component / "payload/Second.bin", "");
  EXPECT_TRUE(update());
  EXPECT_EQ(readFile(output),
            kUpdateBegin + updatedDevice("SN1", "EXF1") + R"(<SPStatus result = "false" ><Message id="0" >)" +
                "ERROR: Getting Firmware Version of required NVMePCISSD disk failed</Message></SPStatus>" +
                kUpdateEnd);
}

TEST_F(NVMePCISSDManagerTest, UpdateWithoutDrivesWritesItsDocumentAndFails) {
  EXPECT_FALSE(update());
  EXPECT_EQ(loggedFrom("INFO: Successfully created XML file for update."),
            all({{"INFO: Successfully created XML file for update.", kNoDrivesUpdate}, updateEndLines()}));
  EXPECT_EQ(readFile(output), std::string(kUpdateBegin) + kUpdateEnd);
}

TEST_F(NVMePCISSDManagerTest, UpdateWithoutLibraryWritesItsDocumentAndFails) {
  addDrives(1);
  platform.libraries.clear();
  EXPECT_FALSE(update());
  EXPECT_EQ(readFile(output), std::string(kUpdateBegin) + kUpdateEnd);
}

TEST_F(NVMePCISSDManagerTest, UpdateWhoseFileThrowsOnOpeningFails) {
  CNVMePCISSDManager manager(output.string());
  {
    const AllocationFault fault(AllocationFault::kThrowsBadAlloc, BUFSIZ);  // the file's buffer
    EXPECT_FALSE(manager.Update());
  }
  EXPECT_EQ(loggedFrom("CUpdateXMLWriter::GetXML() Entering"),
            all({{"CUpdateXMLWriter::GetXML() Entering",
                  "CInventoryXMLWriter::GetXML() exception caught during file opening std::bad_alloc",
                  "ERROR: Failed to create XML file for update."},
                 updateEndLines()}));
}

TEST_F(NVMePCISSDManagerTest, UpdateToAnUnopenableFileSucceedsOnStandardOutput) {
  addDrives(1);
  const OutputCapture standardOutput;
  EXPECT_TRUE(run(&CNVMePCISSDManager::Update, (work / "missing/result.xml").string()));
  EXPECT_EQ(standardOutput.text(), kUpdateBegin + updatedDevice("SN1", "EXF1") + kUpdateEnd);
}

TEST_F(NVMePCISSDManagerTest, UpdateWithoutMemoryForTheOperationFails) {
  addDrives(1);
  EXPECT_FALSE(runWithoutMemory(&CNVMePCISSDManager::Update, sizeof(CNVMePCISSDUpdate)));
  EXPECT_EQ(logged(), (Lines{"Creating auto_ptr to CNVMePCISSDUpdate instance",
                             "ERROR: Failed to create auto_ptr to CNVMePCISSDUpdate"}));
  EXPECT_EQ(platform.calls, Lines{});
  EXPECT_FALSE(fs::exists(output));
}

TEST_F(NVMePCISSDManagerTest, UpdateWithoutMemoryForTheWriterFails) {
  addDrives(1);
  EXPECT_FALSE(runWithoutMemory(&CNVMePCISSDManager::Update, sizeof(CUpdateXMLWriter)));
  EXPECT_EQ(
      loggedFrom("Leaving CNVMePCISSDUpdate::Update()"),
      all({{"Leaving CNVMePCISSDUpdate::Update()", "ERROR: Failed to create auto_ptr to CUpdateXMLWriter"},
           nothingToTearDownLines()}));
  EXPECT_FALSE(fs::exists(output));
}

TEST_F(NVMePCISSDManagerTest, RelativeNameIsResolvedBesideTheExecutableOnceRollbackRan) {
  addDrives(1);
  EXPECT_TRUE(run(&CNVMePCISSDManager::Update, "result.xml"));
  EXPECT_EQ(readFile(component / "result.xml"), kUpdateBegin + updatedDevice("SN1", "EXF1") + kUpdateEnd);
  EXPECT_FALSE(fs::exists(output));
}

TEST_F(NVMePCISSDManagerTest, RelativeNameIsResolvedInTheFirstDirectoryWithoutRollback) {
  addDrives(1);
  library.drives[0].updateResult = 1;
  EXPECT_TRUE(run(&CNVMePCISSDManager::Update, "result.xml"));
  EXPECT_EQ(readFile(output), std::string(kUpdateBegin) + kRefused + kUpdateEnd);
  EXPECT_FALSE(fs::exists(component / "result.xml"));
}

TEST_F(NVMePCISSDManagerTest, RecordsLiveAsLongAsTheManager) {
  addDrives(3);
  for (const Command command : {&CNVMePCISSDManager::Inventory, &CNVMePCISSDManager::Update}) {
    const AllocationWatch watch(sizeof(CDeviceInfo));
    {
      CNVMePCISSDManager manager(output.string());
      EXPECT_TRUE((manager.*command)());
      EXPECT_EQ(watch.made(), 3U);
      EXPECT_EQ(watch.alive(), 3U);
    }
    EXPECT_EQ(watch.alive(), 0U);
  }
}

TEST_F(NVMePCISSDManagerTest, RecordsAreDeletedAlsoWhenTheDocumentCannotBeMade) {
  addDrives(2);
  const AllocationWatch watch(sizeof(CDeviceInfo));
  runWithoutMemory(&CNVMePCISSDManager::Inventory, sizeof(CInventoryXMLWriter));
  EXPECT_EQ(watch.made(), 2U);
  EXPECT_EQ(watch.alive(), 0U);
}

TEST_F(NVMePCISSDManagerTest, UpdateAfterAnInventoryWithoutDrivesFindsTheDriveThatCameSince) {
  CNVMePCISSDManager manager(output.string());
  EXPECT_TRUE(manager.Inventory());
  EXPECT_EQ(readFile(output), std::string(kInventoryBegin) + kInventoryEnd);
  addDrives(1);
  EXPECT_TRUE(manager.Update());
  EXPECT_EQ(readFile(output), kUpdateBegin + updatedDevice("SN1", "EXF1") + kUpdateEnd);
}

TEST_F(NVMePCISSDManagerTest, LinesNameTheirSource) {
  EXPECT_FALSE(update());
  std::string warning;
  for (const LogLine& line : loggedWithSources()) {
    if (line.message == kNoDrivesUpdate) warning = line.source;
  }
  EXPECT_EQ(warning, "src/NVMePCISSDManager.cpp");
}

/// The writer throws while it is given a copy of a long file name.
class NVMePCISSDManagerDeathTest : public NVMePCISSDManagerTest {
 protected:
  /// Runs the command in a child process and returns its log from `startLine` on.
  Lines linesOfADeath(Command command, AllocationFault::Outcome outcome, const std::string& startLine) {
    const std::string name(5000, 'n');
    EXPECT_EXIT(
        {
          CNVMePCISSDManager manager(name);
          const AllocationFault fault(outcome, name.size() + 1);
          (manager.*command)();
        },
        testing::ExitedWithCode(1), "^$");
    const Lines lines = loggedFrom(startLine);
    EXPECT_FALSE(lines.empty());
    return lines;
  }
};

// Promise: status-no-memory
TEST_F(NVMePCISSDManagerDeathTest, ExceptionOfTheWriterEndsTheProcessWithStatus1) {
  addDrives(1);
  struct Case {
    Command command;
    std::string startLine;
  };
  for (const Case& example :
       {Case{&CNVMePCISSDManager::Inventory, "Creating XML file for inventory information"},
        Case{&CNVMePCISSDManager::Update, "Creating XML file instance for update"}}) {
    SCOPED_TRACE(example.startLine);
    EXPECT_EQ(
        linesOfADeath(example.command, AllocationFault::kThrowsBadAlloc, example.startLine),
        (Lines{example.startLine, "ERROR: pDeviceXmlWriter->GetXML() created an exception and it is caught !",
               "Exception Is: std::bad_alloc"}));
    EXPECT_EQ(linesOfADeath(example.command, AllocationFault::kThrowsInt, example.startLine),
              (Lines{example.startLine, "ERROR: pDeviceXmlWriter->GetXML() created an unkown exception"}));
  }
}

}  // namespace
