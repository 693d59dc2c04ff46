#include "AtomicFile.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "TestSupport.h"

namespace {

class AtomicFile : public testing::Test {
 protected:
  static int errorOf(const std::string& path, tool::Existing existing) {
    try {
      tool::writeAtomically(path, "new", existing);
    } catch (const std::system_error& error) {
      return error.code().value();
    }
    return 0;
  }

  static std::ptrdiff_t filesHere() {
    return std::distance(std::filesystem::directory_iterator("."), std::filesystem::directory_iterator());
  }

  WorkingFolder m_folder;
};

TEST_F(AtomicFile, WritesAndReplaces) {
  EXPECT_EQ(errorOf("page", tool::Existing::kKeep), 0);
  EXPECT_EQ(readFile("page"), "new");
  writeFile("page", "old");
  std::filesystem::permissions("page", std::filesystem::perms::owner_read);
  EXPECT_EQ(errorOf("page", tool::Existing::kReplace), 0);
  EXPECT_EQ(readFile("page"), "new");
  EXPECT_EQ(std::filesystem::status("page").permissions(), std::filesystem::perms::owner_read);
  EXPECT_EQ(filesHere(), 1);
}

TEST_F(AtomicFile, KeepsWhatIsThereAndLeavesNothingBehind) {
  writeFile("page", "old");
  EXPECT_EQ(errorOf("page", tool::Existing::kKeep), EEXIST);
  EXPECT_EQ(readFile("page"), "old");
  EXPECT_EQ(errorOf("missing/page", tool::Existing::kReplace), ENOENT);
  EXPECT_EQ(filesHere(), 1);
}

TEST_F(AtomicFile, ReplacesWhatADeadProcessOfItsNumberHasLeft) {
  const std::string left = ".file." + std::to_string(getpid()) + ".new";
  writeFile(left, "half");
  EXPECT_EQ(errorOf("file", tool::Existing::kKeep), 0);
  EXPECT_EQ(readFile("file"), "new");
  EXPECT_EQ(filesHere(), 1);
}

TEST_F(AtomicFile, IsWrittenByAProcessWithoutStandardInput) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  EXPECT_EQ(errorOf("page", tool::Existing::kKeep), 0);
  EXPECT_EQ(dup2(input, STDIN_FILENO), STDIN_FILENO);
  close(input);
  EXPECT_EQ(readFile("page"), "new");
}

TEST_F(AtomicFile, FollowsALink) {
  std::filesystem::create_directory("folder");
  writeFile("folder/page", "old");
  std::filesystem::create_symlink("folder/page", "link");
  EXPECT_EQ(errorOf("link", tool::Existing::kReplace), 0);
  EXPECT_TRUE(std::filesystem::is_symlink("link"));
  EXPECT_EQ(readFile("folder/page"), "new");
}

TEST_F(AtomicFile, ReplacesFilesOfThisProgramOnly) {
  EXPECT_EQ(tool::replaceOwnFile("page", "mark one", "mark"), "");
  EXPECT_EQ(tool::replaceOwnFile("page", "mark two", "mark"), "");
  EXPECT_EQ(readFile("page"), "mark two");
  writeFile("other", "mar");
  EXPECT_EQ(tool::replaceOwnFile("other", "mark", "mark"), "exists and was not written by this program");
  EXPECT_EQ(readFile("other"), "mar");
  std::filesystem::create_directory("folder");
  EXPECT_EQ(tool::replaceOwnFile("folder", "mark", "mark"),
            "is no regular file; -o - writes to standard output");
  EXPECT_EQ(tool::replaceOwnFile("missing/page", "mark", "mark"), "No such file or directory");
}

}  // namespace
