// Run folders and their records: names, order, what is kept, and what becomes of damaged ones.

#include "StateFolder.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <system_error>

#include "Flash.h"
#include "PackageCopy.h"
#include "RunOverview.h"
#include "TestSupport.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using tool::RunKind;
using tool::RunPhase;
using tool::RunRecord;
using tool::StateFolder;

namespace {

RunRecord fullRecord() {
  return {.name = "one",
          .sequence = 7,
          .kind = RunKind::kInventory,
          .phase = RunPhase::kVerifying,
          .component = "/srv/component",
          .workingFolder = "/srv/copy",
          .environment = {{"PATH", "/bin"}},
          .policy = {{"to", "REV2"}},
          .payload = "ab",
          .bootId = "boot",
          .verifiedIn = "boot2",
          .began = "then",
          .ended = "now",
          .approved = 3,
          .flashBegan = 4,
          .toFlash = 5,
          .hasFlashed = true,
          .wasInterrupted = true,
          .attempts = 2,
          .exitStatus = 1};
}

/// What is wrong with a record; empty when nothing is.
std::string complaint(const std::string& content) {
  try {
    tool::readRunRecord(content);
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

class StateFolderTest : public testing::Test {
 protected:
  void end(tool::Run run) const {
    run.record.phase = RunPhase::kDone;
    run.save();
  }
  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const tool::Run& run : state.list().runs) found.push_back(run.record.name);
    return found;
  }

  ScratchFolder scratch;
  StateFolder state{scratch / "deep/runs"};
};

}  // namespace

TEST(RunRecord, IsReadAsItWasWritten) {
  EXPECT_EQ(tool::readRunRecord(toJson(fullRecord())), fullRecord());
  EXPECT_EQ(tool::readRunRecord(toJson(RunRecord{})), RunRecord{});
}

TEST(RunRecord, EveryMemberMustBeThereAndOfItsKind) {
  const auto whole = nlohmann::json::parse(toJson(fullRecord()));
  for (const auto& [name, value] : whole.items()) {
    nlohmann::json other = whole;
    other[name] = value.is_array() ? nlohmann::json(1) : nlohmann::json::array();
    EXPECT_NE(complaint(other.dump()), "") << name;
    other.erase(name);
    EXPECT_EQ(complaint(other.dump()).empty(), name == "exitStatus") << name;
  }
}

TEST(RunRecord, OtherVersionsAndOtherFilesAreRefused) {
  auto record = nlohmann::json::parse(toJson(fullRecord()));
  record["version"] = 2;
  EXPECT_THAT(complaint(record.dump()), HasSubstr("version"));
  for (const char* const content : {"", "{", "[]", "{}", "null", "{\"format\": \"x\"}", "\xff"})
    EXPECT_NE(complaint(content), "") << content;
}

TEST_F(StateFolderTest, ARunHasAFolderOfItsOwner) {
  const tool::Run run = state.create(RunKind::kUpdate, "one");
  struct stat status {};
  ASSERT_EQ(stat(run.folder.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777U, 0700U);
  ASSERT_TRUE(state.find("one"));
  EXPECT_EQ(state.find("one")->record, run.record);
  EXPECT_FALSE(state.find("two"));
}

TEST_F(StateFolderTest, ANameIsTakenOnce) {
  state.create(RunKind::kUpdate, "one");
  EXPECT_THROW(state.create(RunKind::kUpdate, "one"), std::system_error);
}

TEST_F(StateFolderTest, AFolderThatCannotBeMadeIsAnErrorWithItsPath) {
  const std::string longest(300, 'n');  // no file system has names of that length
  try {
    state.create(RunKind::kUpdate, longest);
    FAIL() << "a run of that name";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::filename_too_long);
    EXPECT_THAT(error.what(), HasSubstr((state.root() / longest).string()));
  }
  EXPECT_THAT(names(), ElementsAre());
  EXPECT_THROW(StateFolder(scratch / longest).create(RunKind::kUpdate, "one"), std::system_error);
}

TEST_F(StateFolderTest, RunsOfOneSecondHaveNamesOfTheirOwn) {
  const std::string first = state.create(RunKind::kUpdate, "").record.name;
  const std::string second = state.create(RunKind::kUpdate, "").record.name;
  EXPECT_NE(first, second);
  EXPECT_TRUE(StateFolder::isName(first)) << first;
  EXPECT_TRUE(StateFolder::isName(second)) << second;
}

TEST(RunName, IsPlain) {
  for (const char* const name : {"a", "9", "rollout-2026.1_x", "A-"}) EXPECT_TRUE(StateFolder::isName(name));
  for (const std::string name : {"", ".", "..", ".a", "-a", "a/b", "a b", "a\n", "\xc3\xa4"})
    EXPECT_FALSE(StateFolder::isName(name)) << name;
  EXPECT_TRUE(StateFolder::isName(std::string(64, 'a')));
  EXPECT_FALSE(StateFolder::isName(std::string(65, 'a')));
}

TEST_F(StateFolderTest, OrderDoesNotDependOnTheClock) {
  tool::Run first = state.create(RunKind::kUpdate, "z");
  first.record.began = "2099-01-01T00:00:00Z";
  first.save();
  state.create(RunKind::kUpdate, "b");
  state.create(RunKind::kUpdate, "a");
  EXPECT_THAT(names(), ElementsAre("z", "b", "a"));
}

TEST_F(StateFolderTest, OldFinishedRunsGoAndUnfinishedOnesStay) {
  state.create(RunKind::kUpdate, "unfinished");
  end(state.create(RunKind::kInventory, "inventory"));
  for (std::size_t i = 0; i < 52; ++i) end(state.create(RunKind::kUpdate, "run" + std::to_string(i)));
  fs::create_directory(state.root() / "foreign");
  state.prune(RunKind::kUpdate);
  EXPECT_EQ(names().size(), 52U) << "50 updates, and the two others";
  EXPECT_FALSE(state.find("run1"));
  EXPECT_TRUE(state.find("run2"));
  EXPECT_TRUE(state.find("unfinished"));
  EXPECT_TRUE(state.find("inventory"));
  EXPECT_TRUE(fs::exists(state.root() / "foreign"));
}

TEST_F(StateFolderTest, DamagedRunsAreNamedAndLeftAlone) {
  state.create(RunKind::kUpdate, "whole");
  for (const char* const name : {"cut", "empty", "other", "folder"})
    fs::create_directory(state.root() / name);
  writeFile(state.root() / "cut/run.json", "{\"format\"");
  writeFile(state.root() / "other/run.json", readFile(state.root() / "whole/run.json"));
  fs::create_directory(state.root() / "folder/run.json");
  fs::create_directory_symlink(state.root() / "whole", state.root() / "link");
  const tool::RunList list = state.list();
  EXPECT_THAT(names(), ElementsAre("whole"));
  EXPECT_THAT(list.problems, ElementsAre(HasSubstr("cut/run.json"), HasSubstr("empty/run.json"),
                                         HasSubstr("folder/run.json"), HasSubstr("other/run.json")));
  EXPECT_THROW(state.find("cut"), std::runtime_error);
}

TEST_F(StateFolderTest, FilesOfAnAttemptArePutAside) {
  tool::Run run = state.create(RunKind::kUpdate, "one");
  writeFile(run.folder / "update.xml", "first");
  run.record.attempts = 1;
  run.setAside();
  writeFile(run.folder / "update.xml", "second");
  run.record.attempts = 2;
  run.setAside();
  EXPECT_EQ(readFile(run.folder / "attempt-1/update.xml"), "first");
  EXPECT_EQ(readFile(run.folder / "attempt-2/update.xml"), "second");
  EXPECT_TRUE(fs::exists(run.folder / "run.json"));
  writeFile(run.folder / "attempt-2/run.json", "{");
  ASSERT_EQ(run.attempts().size(), 1U) << "the second one cannot be read";
  EXPECT_EQ(run.attempts()[0].folder, run.folder / "attempt-1");
}

TEST_F(StateFolderTest, DrivesAwaitAResetByTheirSlotsOrElseByTheRunsOfThisBoot) {
  tool::Run run = state.create(RunKind::kUpdate, "one");
  run.record.hasFlashed = true;
  tool::Verdict verdict;
  for (const char* const serial : {"S1", "S2", "S3"})
    verdict.drives.push_back({.serial = serial, .state = tool::Outcome::kStaged});
  tool::conclude(verdict);
  tool::finish(state, run, verdict);
  const std::vector<tool::DriveFacts> drives{
      {.serial = "S1", .slots = tool::DriveSlots{.revisions = {"OLD", "NEW"}, .running = 1, .next = 2}},
      {.serial = "S2", .slots = tool::DriveSlots{.revisions = {"NEW"}, .running = 1, .next = 0}},
      {.serial = "S3"}};
  const tool::RunsOverview overview = tool::overviewOf(state.list(), drives);
  EXPECT_EQ(overview.awaitingReset, 2U) << "S2 was reset, and S3 does not tell";
  ASSERT_TRUE(overview.last);
  EXPECT_EQ(overview.last->name, "one");
  EXPECT_EQ(overview.last->drives, (std::map<std::string, std::size_t>{{"staged", 3}}));
}

TEST(PackageCopy, HasTheListAndNotTheMarker) {
  const ScratchFolder folder;
  writeFile(folder / "from/package.xml", "<x/>");
  writeFile(folder / "from/payload/firmware.bin", "firmware");
  writeFile(folder / "from/enabledebug.txt", "");
  writeFile(folder / "from/drives.allow", "OLD\n");
  fs::create_symlink("package.xml", folder / "from/link.xml");
  fs::create_directory_symlink("payload", folder / "from/images");
  tool::copyPackage(folder / "from", folder / "to", std::vector<std::string>{"SIM1", "SIM2"});
  EXPECT_EQ(readFile(folder / "to/payload/firmware.bin"), "firmware");
  EXPECT_EQ(readFile(folder / "to/link.xml"), "<x/>");
  EXPECT_EQ(fs::read_symlink(folder / "to/images"), fs::canonical(folder / "from/payload"));
  EXPECT_EQ(readFile(folder / "to/drives.allow"), "SIM1\nSIM2\n");
  EXPECT_FALSE(fs::exists(folder / "to/enabledebug.txt"));
  tool::copyPackage(folder / "from", folder / "whole", std::nullopt);
  EXPECT_EQ(readFile(folder / "whole/drives.allow"), "OLD\n");
}
