// Files are read with clear errors and replaced whole or not at all.

#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "SimulatorTest.h"

namespace fs = std::filesystem;
using simulator::CallsLog;
using simulator::RegularFile;
using simulator::WholeFile;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> namesIn(const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string complaintAbout(const fs::path& path) {
  return messageOf([&] { RegularFile file(path); });
}

}  // namespace

TEST(PathFromEnvironment, IsAbsoluteFromTheWorkingDirectoryOfTheMoment) {
  const WorkingFolder folder;
  const Environment environment("SIMULATOR_TEST_PATH", "name");
  const auto path = simulator::pathFromEnvironment("SIMULATOR_TEST_PATH");
  EXPECT_EQ(path, folder / "name");
  EXPECT_EQ(simulator::pathFromEnvironment("SIMULATOR_TEST_PATH", "other"), folder / "name");
}

TEST(PathFromEnvironment, IsTheFallbackWhereTheVariableIsUnsetOrEmpty) {
  const WorkingFolder folder;
  EXPECT_EQ(simulator::pathFromEnvironment("SIMULATOR_TEST_PATH"), std::nullopt);
  EXPECT_EQ(simulator::pathFromEnvironment("SIMULATOR_TEST_PATH", "other"), folder / "other");
  const Environment environment("SIMULATOR_TEST_PATH", "");
  EXPECT_EQ(simulator::pathFromEnvironment("SIMULATOR_TEST_PATH"), std::nullopt);
  EXPECT_EQ(simulator::pathFromEnvironment("SIMULATOR_TEST_PATH", "other"), folder / "other");
}

TEST(RegularFile, IsReadPieceByPiece) {
  const ScratchFolder folder;
  writeFile(folder / "file", std::string_view("abc\0e", 5));
  RegularFile file(folder / "file");
  EXPECT_EQ(file.read(3), "abc");
  EXPECT_EQ(file.read(3), std::string("\0e", 2));
  EXPECT_EQ(file.read(3), "");
}

TEST(RegularFile, RefusesWhatIsNoFile) {
  const ScratchFolder folder;
  ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(complaintAbout(folder / "none"), (folder / "none").string() + ": No such file or directory");
  EXPECT_EQ(complaintAbout(folder.path()), folder.path().string() + ": Is a directory");
  EXPECT_EQ(complaintAbout(folder / "pipe"), (folder / "pipe").string() + ": Invalid argument");
  EXPECT_EQ(complaintAbout("/dev/null"), "/dev/null: Invalid argument");
}

TEST(ReadWhole, GivesEveryByteOfAFileOfMoreThanOneChunk) {
  const ScratchFolder folder;
  std::string content(200'000, 'x');
  for (std::size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7 / 3);
  writeFile(folder / "file", content);
  EXPECT_EQ(simulator::readWhole(folder / "file"), content);
}

TEST(WholeFile, TakesTheTargetsPlaceOnCommit) {
  const ScratchFolder folder;
  writeFile(folder / "file", "old");
  WholeFile file(folder / "file");
  file.write("new ");
  file.write("content");
  EXPECT_EQ(readFile(folder / "file"), "old");
  file.commit();
  EXPECT_EQ(readFile(folder / "file"), "new content");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("file"));
  EXPECT_EQ(fs::status(folder / "file").permissions(), fs::perms(0644));
}

TEST(WholeFile, LeavesNothingBehindWithoutCommit) {
  const ScratchFolder folder;
  writeFile(folder / "file", "old");
  {
    WholeFile file(folder / "file");
    file.write("new");
    EXPECT_THAT(namesIn(folder.path()), testing::SizeIs(2));
  }
  EXPECT_EQ(readFile(folder / "file"), "old");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("file"));
}

TEST(WholeFile, NamesTheTargetThatCannotBeMade) {
  const ScratchFolder folder;
  const fs::path target = folder / "none" / "file";
  EXPECT_EQ(messageOf([&] { WholeFile file(target); }), target.string() + ": No such file or directory");
}

TEST(WholeFile, DoesNotReplaceAFolder) {
  const ScratchFolder folder;
  fs::create_directory(folder / "taken");
  const auto commit = [&] {
    WholeFile file(folder / "taken");
    file.commit();
  };
  EXPECT_EQ(messageOf(commit), (folder / "taken").string() + ": Is a directory");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("taken"));
}

TEST(WholeFile, ReportsADiskThatIsFull) {
  // What is written to /dev/full fails; the temporary file of the object stands for it once it is closed.
  const ScratchFolder folder;
  WholeFile file(folder / "file");
  const fs::path temporary = folder / namesIn(folder.path()).front();
  const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_GE(full, 0);
  for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (fs::read_symlink(entry, ignored) != temporary) continue;
    dup2(full, std::stoi(entry.path().filename()));
    break;
  }
  close(full);
  EXPECT_EQ(messageOf([&] { file.write("x"); }), (folder / "file").string() + ": No space left on device");
}

TEST(CopyWhole, ReplacesTheTarget) {
  const ScratchFolder folder;
  const std::string content(100'000, 'y');
  writeFile(folder / "source", content);
  writeFile(folder / "target", "old");
  simulator::copyWhole(folder / "source", folder / "target");
  EXPECT_EQ(readFile(folder / "target"), content);
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("source", "target"));
}

TEST(CopyWhole, LeavesTheTargetWhereTheSourceCannotBeRead) {
  const ScratchFolder folder;
  writeFile(folder / "target", "old");
  EXPECT_EQ(messageOf([&] { simulator::copyWhole(folder / "source", folder / "target"); }),
            (folder / "source").string() + ": No such file or directory");
  EXPECT_EQ(readFile(folder / "target"), "old");
  EXPECT_THAT(namesIn(folder.path()), ElementsAre("target"));
}

TEST(CallsLog, AppendsLines) {
  const ScratchFolder folder;
  const Environment environment("SIMULATOR_TEST_CALLS", folder / "calls");
  writeFile(folder / "calls", "before\n");
  const CallsLog calls("SIMULATOR_TEST_CALLS");
  calls.append("one");
  calls.append("two");
  EXPECT_EQ(readFile(folder / "calls"), "before\none\ntwo\n");
}

TEST(CallsLog, IsSilentWithoutAFileAndWhereItCannotBeWritten) {
  const WorkingFolder folder;
  CallsLog("SIMULATOR_TEST_CALLS").append("one");
  const Environment environment("SIMULATOR_TEST_CALLS", folder / "none" / "calls");
  CallsLog("SIMULATOR_TEST_CALLS").append("one");
  EXPECT_THAT(namesIn(folder.path()), IsEmpty());
}

TEST(Complain, WritesALineToStandardErrorAndNoneToStandardOutput) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  simulator::complain("who", "what");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "who: what\n");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}
