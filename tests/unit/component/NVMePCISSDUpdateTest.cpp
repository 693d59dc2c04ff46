#include "NVMePCISSDUpdate.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <new>

#include "CoreTest.h"
#include "NVMePCISSDInventory.h"

namespace {

namespace fs = std::filesystem;

constexpr char kNotInitialized[] =
    "ERROR: Creating NVMeAdapter instance and/or NVMeAdapter initiatization failed!";
constexpr char kLeaving[] = "Leaving CNVMePCISSDUpdate::Update()";
constexpr char kUpdating[] = "Updating the firmware for NVMeDevcice";
constexpr char kRollbackMandatory[] =
    "INFO: At lease one NVMe PCISSD disk firmware update is successful. Rollback is mandatory now";
constexpr char kRollbackDone[] = "INFO: Populating the rollback partition is success";
const std::string kRollbackFailed = "ERROR: Populating the rollback partition is failed with error code ";

std::string summary(int succeeded, int attempted) {
  return std::to_string(succeeded) + " NVMEPCISSD drives updated succesfully out of " +
         std::to_string(attempted) + " NVMEPCISSD Drives";
}

class NVMePCISSDUpdateTest : public CoreTest {
 protected:
  NVMePCISSDUpdateTest() { writeFile(payloadPath(), "firmware"); }

  fs::path payloadFolder() const { return component / "payload"; }
  fs::path payloadPath() const { return payloadFolder() / "Firmware.bin"; }

  /// Makes an operation, runs it and deletes it.
  void update() {
    const std::unique_ptr<IDeviceExecution> operation = std::make_unique<CNVMePCISSDUpdate>();
    records.replace(operation->Update());
  }

  /// The lines up to the end of the inventory.
  Lines inventoryLines() const {
    return all(
        {initializeLines(),
         {"CNVMePCISSDUpdate::Update  Before GetInventory() "},
         installLines(),
         discoveryLines(library.drives),
         {library.drives.empty() ? "WARNING: Could not able to found atleast one NVMePCISSD Device also"
                                 : "INFO: Found atleast one NVMePCISSD Devices",
          "CNVMePCISSDUpdate::Update  After GetInventory() "}});
  }
  std::string payloadLine() const { return "Payload file name is: " + payloadPath().string(); }

  /// The lines after the last drive. The end of the inventory tears the adapter down, so the end of the
  /// operation finds none.
  static Lines endLines() { return all({tearDownLines(), {kLeaving}, nothingToTearDownLines()}); }

  std::size_t flashed() const {
    return static_cast<std::size_t>(
        std::count_if(library.calls.begin(), library.calls.end(),
                      [](const auto& call) { return call.starts_with("update "); }));
  }

  ScriptedRollback rollback;
  Records records;
};

TEST_F(NVMePCISSDUpdateTest, TwoDrivesOfWhichOneFailsWholeLog) {
  addDrives(2);
  library.drives[0].updateResult = -1;
  update();
  EXPECT_EQ(logged(), all({inventoryLines(),
                           {payloadLine(), kUpdating, "ERROR: Update firmware failed for NVMeDevcice",
                            "ERROR INFO: API return value = 4294967295", kUpdating,
                            "Update firmware done for NVMeDevcice Succesfully", summary(1, 2),
                            kRollbackMandatory, "Entering CNVMePCISSDUpdate::populateRollPartition()",
                            "CBackplaneExecution::PopulateRollbackPartition() start",
                            "CRollBackPopulator::::PopulateRollbackPartition:Populate File Size is:1",
                            "Payload File" + payloadPath().string(),
                            "CRollBackPopulator::::PopulateRollbackPartition updateFormwarePartition retVal",
                            "CRollBackPopulator::PopulateRollbackPartition->END",
                            "CRollBackPopulator::::PopulateRollbackPartition() END",
                            "Leaving CBackplanePassiveExecution::populateRollPartition()", kRollbackDone},
                           endLines()}));
  ASSERT_EQ(records.list.size(), 2U);
  EXPECT_EQ(records.list[0]->getStatus(), 1);
  EXPECT_EQ(records.list[0]->getErrorMsg(), "ERROR: Failed to Update Firmware");
  EXPECT_EQ(records.list[1]->getStatus(), 0);
  EXPECT_EQ(records.list[1]->getErrorMsg(), "Success");
}

// Promise: moxi-probe
TEST_F(NVMePCISSDUpdateTest, LibraryIsOpenedOnceAndSupportLibraryInstalledTwice) {
  addDrives(1);
  update();
  EXPECT_EQ(platform.calls,
            (Lines{"install", "load ./libnvme.so", "find NVMEDiscoverDrives", "find NVMEGetDriveInfo",
                   "find NVMEUpdateFirmware", "install", "close", "uninstall"}));
}

TEST_F(NVMePCISSDUpdateTest, RollbackGetsThePayload) {
  addDrives(1);
  update();
  EXPECT_EQ(rollback.calls,
            (Lines{"construct", "add " + payloadPath().string() + " true", "update", "destroy"}));
}

TEST_F(NVMePCISSDUpdateTest, RecordsKeepMessageIdUpdateStatusAndRebootFlag) {
  addDrives(3);
  library.drives[0].updateResult = 55;
  library.drives[1].updateResult = 267;
  library.drives[2].infoResult = 1;
  update();
  ASSERT_EQ(records.list.size(), 3U);
  for (const CDeviceInfo* record : records.list) {
    EXPECT_EQ(record->getMessageID(), 0);
    EXPECT_EQ(record->getUpdateStatus(), 0);
    EXPECT_FALSE(record->getRebootRequired());
  }
  EXPECT_EQ(records.list[0]->getStatus(), 1);
  EXPECT_EQ(records.list[1]->getStatus(), 0);
  EXPECT_EQ(records.list[2]->getStatus(), 2);
}

TEST_F(NVMePCISSDUpdateTest, WithoutAdapterNothingHappens) {
  addDrives(1);
  {
    const AllocationFault fault(AllocationFault::kReturnsNull, sizeof(CNVMeAdapter));
    update();
  }
  EXPECT_TRUE(records.list.empty());
  EXPECT_EQ(logged(),
            all({{"ERROR: Object Creation or Library intialization failed", kNotInitialized, kLeaving},
                 nothingToTearDownLines()}));
  EXPECT_EQ(platform.calls, Lines{});
}

TEST_F(NVMePCISSDUpdateTest, FailingInitializationTouchesNoDrive) {
  addDrives(1);
  platform.installFails = true;
  update();
  EXPECT_TRUE(records.list.empty());
  EXPECT_EQ(logged(),
            (Lines{"Installing MOXI ..", "ERROR: Installing MOXI is Failed", kNotInitialized, kLeaving,
                   "Before deleting the CNVMeAdapter instance",
                   "Initializing all required function pointers to NULL", "Checking library handle existance",
                   "Uninstalling MOXI ...", "After deleting the CNVMeAdapter instance",
                   "Leaving  CNVMeAdapter::DeleteInstance()"}));
  EXPECT_EQ(library.calls, Lines{});
}

TEST_F(NVMePCISSDUpdateTest, InventoryThatCannotBeMadeLeavesAnEmptyList) {
  addDrives(1);
  {
    CNVMePCISSDUpdate operation;
    const AllocationFault fault(AllocationFault::kReturnsNull, sizeof(CNVMePCISSDInventory));
    records.list = operation.Update();
  }
  EXPECT_TRUE(records.list.empty());
  EXPECT_EQ(
      logged(),
      all({initializeLines(),
           {"ERROR: Creating CNVMePCISSDInventory instance failed!", payloadLine(), summary(0, 0), kLeaving},
           tearDownLines()}));
  EXPECT_EQ(library.calls, Lines{});
  EXPECT_EQ(rollback.calls, Lines{});
}

TEST_F(NVMePCISSDUpdateTest, NoDrivesLeaveTheRollbackPartitionAlone) {
  update();
  EXPECT_TRUE(records.list.empty());
  EXPECT_EQ(logged(), all({inventoryLines(), {payloadLine(), summary(0, 0)}, endLines()}));
  EXPECT_EQ(rollback.calls, Lines{});
  EXPECT_EQ(fs::current_path(), work.path());
}

TEST_F(NVMePCISSDUpdateTest, AllRefusalsLeaveTheRollbackPartitionAlone) {
  addDrives(2);
  for (FakeDrive& drive : library.drives) drive.updateResult = 1;
  update();
  const Lines lines = logged();
  EXPECT_EQ(Lines(lines.end() - 10, lines.end()), endLines());
  EXPECT_EQ(*(lines.end() - 11), summary(0, 2));
  EXPECT_EQ(rollback.calls, Lines{});
  EXPECT_EQ(fs::current_path(), work.path());
}

TEST_F(NVMePCISSDUpdateTest, RefusedPayloadWholeLog) {
  addDrives(2);
  writeFile(payloadFolder() / "Second.bin", "firmware");
  update();
  EXPECT_EQ(
      logged(),
      all({inventoryLines(),
           {"ERROR: Zero or more than one payload file found", "Returning from CNVMePCISSDUpdate::Update()"},
           tearDownLines(),
           nothingToTearDownLines()}));
}

TEST_F(NVMePCISSDUpdateTest, PayloadFolderWithoutExactlyOneEntryTouchesNoDrive) {
  struct Case {
    const char* situation;
    std::function<void(const fs::path&)> fill;  ///< gets the folder's path; the folder does not exist
  };
  const std::vector<Case> cases{
      {"missing", [](const fs::path&) {}},
      {"a file in its place", [](const fs::path& folder) { writeFile(folder, ""); }},
      {"empty", [](const fs::path& folder) { fs::create_directory(folder); }},
      {"two files",
       [](const fs::path& folder) {
         writeFile(folder / "a.bin", "a");
         writeFile(folder / "b.bin", "b");
       }},
      {"a file and an empty folder",
       [](const fs::path& folder) {
         writeFile(folder / "a.bin", "a");
         fs::create_directory(folder / "empty");
       }},
      {"a hidden file beside the file",
       [](const fs::path& folder) {
         writeFile(folder / "a.bin", "a");
         writeFile(folder / ".hidden", "");
       }},
      {"two folders",
       [](const fs::path& folder) {
         fs::create_directories(folder / "one");
         fs::create_directories(folder / "two");
       }},
  };
  addDrives(1);
  for (const Case& example : cases) {
    SCOPED_TRACE(example.situation);
    fs::remove_all(payloadFolder());
    example.fill(payloadFolder());
    update();
    const Lines lines = logged();
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "ERROR: Zero or more than one payload file found"), 1);
    ASSERT_EQ(records.list.size(), 1U);
    EXPECT_EQ(records.list[0]->getStatus(), 0);
    EXPECT_EQ(records.list[0]->getErrorMsg(), "Success");
    EXPECT_EQ(flashed(), 0U);
    EXPECT_EQ(rollback.calls, Lines{});
  }
}

TEST_F(NVMePCISSDUpdateTest, OneEntryOfAnyKindIsThePayload) {
  const std::vector<std::function<void(const fs::path&)>> entries{
      [](const fs::path& entry) { writeFile(entry, "firmware"); },
      [](const fs::path& entry) { fs::create_directory(entry); },
      [](const fs::path& entry) { writeFile(entry / "below.bin", "firmware"); },
      [](const fs::path& entry) { fs::create_symlink("nowhere", entry); }};
  addDrives(1);
  for (const char* name : {"Firmware.bin", ".hidden", "with blank", "..."}) {
    for (std::size_t i = 0; i < entries.size(); ++i) {
      SCOPED_TRACE(std::string(name) + " " + std::to_string(i));
      fs::remove_all(payloadFolder());
      fs::create_directory(payloadFolder());
      entries[i](payloadFolder() / name);
      update();
      ASSERT_EQ(flashed(), 1U);
      EXPECT_EQ(library.calls.back(), "update 1:0.67 " + payloadFolder().string() + "/" + name);
      library.calls.clear();
    }
  }
}

TEST_F(NVMePCISSDUpdateTest, PayloadFolderOfTheWorkingDirectoryDoesNotCount) {
  addDrives(1);
  fs::remove_all(payloadFolder());
  writeFile(work / "payload/Firmware.bin", "firmware");
  update();
  EXPECT_EQ(flashed(), 0U);
}

TEST_F(NVMePCISSDUpdateTest, OutcomeOfTheRollbackIsOnlyLogged) {
  const auto byte = [](int code) { return throwing(static_cast<unsigned char>(code)); };
  struct Case {
    ScriptedRollback::Operation ScriptedRollback::*where;
    ScriptedRollback::Operation what;
    std::string line;
  };
  const std::vector<Case> cases{
      {&ScriptedRollback::update, returning(0), kRollbackDone},
      {&ScriptedRollback::update, returning(7), kRollbackFailed + "7"},
      {&ScriptedRollback::update, returning(-1), kRollbackFailed + "-1"},
      {&ScriptedRollback::update, returning(std::numeric_limits<int>::min()),
       kRollbackFailed + "-2147483648"},
      {&ScriptedRollback::add, returning(12), kRollbackFailed + "12"},
      {&ScriptedRollback::add, byte(65), kRollbackFailed + "65"},
      {&ScriptedRollback::constructor, byte(255), kRollbackFailed + "255"},
      {&ScriptedRollback::constructor, byte(0), kRollbackDone},
      {&ScriptedRollback::constructor, throwing(5), kRollbackFailed + "-1"},
      {&ScriptedRollback::destructor, byte(65), kRollbackFailed + "65"},
      {&ScriptedRollback::destructor, throwing(std::bad_alloc()), kRollbackFailed + "-1"},
  };
  addDrives(2);
  library.drives[0].updateResult = 3;
  update();
  const Lines expected = describe(records.list);
  logged();
  for (const Case& example : cases) {
    SCOPED_TRACE(example.line);
    rollback.*example.where = example.what;
    update();
    const Lines lines = logged();
    ASSERT_GT(lines.size(), 11U);
    EXPECT_EQ(*(lines.end() - 11), example.line);
    EXPECT_EQ(Lines(lines.end() - 10, lines.end()), endLines());
    EXPECT_EQ(describe(records.list), expected);
    rollback.*example.where = nullptr;
  }
}

TEST_F(NVMePCISSDUpdateTest, LinesNameTheirSource) {
  addDrives(1);
  update();
  const std::vector<LogLine> lines = loggedWithSources();
  const auto sourceOf = [&lines](const std::string& message) {
    const auto line = std::find_if(lines.begin(), lines.end(), [&message](const LogLine& candidate) {
      return candidate.message == message;
    });
    return line == lines.end() ? "no line: " + message : line->source;
  };
  EXPECT_EQ(sourceOf(kLeaving), "src/NVMePCISSDUpdate.cpp");
  EXPECT_EQ(sourceOf(kRollbackDone), "src/NVMePCISSDUpdate.cpp");
  EXPECT_EQ(sourceOf("INFO: Found atleast one NVMePCISSD Devices"), "src/NVMePCISSDInventory.cpp");
  EXPECT_EQ(sourceOf(summary(1, 1)), "src/NVMeAdapter.cpp");
}

TEST_F(NVMePCISSDUpdateTest, ErrorCodesMapToTheirMessages) {
  struct Case {
    int code;
    const char* message;
  };
  CNVMePCISSDUpdate operation;
  for (const Case& example :
       {Case{55, "Vantor is disabled on your system."}, Case{54, "The firmware update failed"},
        Case{56, "The firmware update failed"}, Case{0, "The firmware update failed"},
        Case{-55, "The firmware update failed"}, Case{267, "The firmware update failed"}}) {
    SCOPED_TRACE(example.code);
    std::string message = "of before";
    operation.mapErrorCodeToMessage(example.code, message);
    EXPECT_EQ(message, example.message);
  }
}

}  // namespace
