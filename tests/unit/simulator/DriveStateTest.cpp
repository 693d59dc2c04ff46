// The file that keeps the revisions of flashed drives.

#include "DriveState.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "SimulatorTest.h"

using simulator::DriveAddress;
using simulator::DriveState;
using simulator::Revision;

namespace {

constexpr DriveAddress kFirst = {0x3b, 0, 0};
constexpr DriveAddress kSecond = {0x3c, 0, 1};
constexpr Revision kNew = {'S', 'M', 'P', '9', '0', '2', '0', '0'};
constexpr Revision kOdd = {'\0', '\xff', '"', '\n', '\x80', ' ', ' ', '<'};

}  // namespace

class DriveStateFile : public testing::Test {
 protected:
  ScratchFolder folder;
  std::filesystem::path file = folder / "state.json";
  DriveState state{file, "before"};
};

TEST_F(DriveStateFile, MissingMeansThatNothingWasFlashed) {
  EXPECT_EQ(state.revision(kFirst), std::nullopt);
  EXPECT_FALSE(exists(file));
}

TEST_F(DriveStateFile, KeepsEachDrivesRevision) {
  state.keep(kFirst, kNew);
  state.keep(kSecond, kOdd);
  EXPECT_EQ(DriveState(file, "before").revision(kFirst), kNew);
  EXPECT_EQ(DriveState(file, "before").revision(kSecond), kOdd);
  EXPECT_EQ(state.revision({0x3d, 0, 0}), std::nullopt);
  state.keep(kFirst, kOdd);
  EXPECT_EQ(state.revision(kFirst), kOdd);
}

TEST_F(DriveStateFile, IsReadableText) {
  state.keep(kFirst, kNew);
  EXPECT_EQ(readFile(file), "{\n  \"3b:00.0\": \"SMP90200\"\n}\n");
}

TEST_F(DriveStateFile, DamagedMeansThatNothingWasFlashed) {
  for (const char* const content : {"", "{", "[]", "\"3b:00.0\"", "\xff\xfe"}) {
    writeFile(file, content);
    EXPECT_EQ(state.revision(kFirst), std::nullopt) << content;
    state.keep(kFirst, kNew);
    EXPECT_EQ(state.revision(kFirst), kNew) << content;
  }
}

TEST_F(DriveStateFile, DamagedEntriesCountForTheirDriveAlone) {
  for (const char* const entry : {"1", "null", "\"\"", "\"SMP9020\"", "\"SMP902000\"", "\"SMP9020\u20ac\""}) {
    writeFile(file, "{\"3b:00.0\": " + std::string(entry) + ", \"3c:00.1\": \"SMP90200\"}");
    EXPECT_EQ(state.revision(kFirst), std::nullopt) << entry;
    EXPECT_EQ(state.revision(kSecond), kNew) << entry;
  }
}

TEST_F(DriveStateFile, IsAsItWasWhenItCannotBeWritten) {
  const DriveState nowhere(folder / "none" / "state.json", "before");
  EXPECT_EQ(messageOf([&] { nowhere.keep(kFirst, kNew); }),
            (folder / "none" / "state.json").string() + ": No such file or directory");
  EXPECT_EQ(nowhere.revision(kFirst), std::nullopt);
}

TEST_F(DriveStateFile, AResetBringsTheWaitingRevision) {
  EXPECT_FALSE(state.wasFlashed(kFirst));
  state.keepUntilReset(kFirst, kNew, kOdd);
  EXPECT_EQ(DriveState(file, "before").revision(kFirst), kNew);
  EXPECT_EQ(DriveState(file, "after").revision(kFirst), kOdd);
  EXPECT_TRUE(state.wasFlashed(kFirst));
  EXPECT_FALSE(state.wasResetSince(kFirst));
  EXPECT_TRUE(DriveState(file, "after").wasResetSince(kFirst));
}

TEST_F(DriveStateFile, AResetChangesNoDriveThatWaitsForNone) {
  state.keep(kFirst, kNew);
  const DriveState after(file, "after");
  EXPECT_EQ(after.revision(kFirst), kNew);
  EXPECT_TRUE(after.wasFlashed(kFirst));
  EXPECT_FALSE(after.wasResetSince(kFirst));
  EXPECT_FALSE(after.wasFlashed(kSecond));
  EXPECT_FALSE(after.wasResetSince(kSecond));
}

TEST_F(DriveStateFile, ADamagedWaitCountsForItsDriveAlone) {
  for (const char* const entry : {"{}", R"({"now": "SMP90200", "afterReset": "SMP90200"})",
                                  R"({"now": "SMP90200", "afterReset": "SMP90200", "since": 1})",
                                  R"({"now": "SMP9020", "afterReset": "SMP90200", "since": ""})",
                                  R"({"now": "SMP90200", "afterReset": 1, "since": ""})"}) {
    writeFile(file, "{\"3b:00.0\": " + std::string(entry) + ", \"3c:00.1\": \"SMP90200\"}");
    EXPECT_FALSE(state.wasFlashed(kFirst)) << entry;
    EXPECT_FALSE(state.wasResetSince(kFirst)) << entry;
    EXPECT_EQ(state.revision(kFirst), std::nullopt) << entry;
    EXPECT_EQ(state.revision(kSecond), kNew) << entry;
  }
}

TEST(DriveSession, ChangesWithTheResetFile) {
  const ScratchFolder folder;
  const std::filesystem::path file = folder / "reset";
  const std::string before = simulator::currentSession(file);
  EXPECT_FALSE(before.empty());
  EXPECT_EQ(simulator::currentSession(file), before);
  writeFile(file, "1");
  const std::string after = simulator::currentSession(file);
  EXPECT_NE(after, before);
  writeFile(file, "2");
  EXPECT_NE(simulator::currentSession(file), after);
}
