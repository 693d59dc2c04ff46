#include "OutputFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <initializer_list>
#include <memory>
#include <string>

#include "TestSupport.h"

namespace {

class OutputFileTest : public testing::Test {
 protected:
  void open(const char* name) { m_file->open((m_folder / name).string()); }
  void closeFile() { m_file.reset(); }
  std::string content(const char* name) const { return readFile(m_folder / name); }

  ScratchFolder m_folder;
  std::unique_ptr<output::File> m_file = std::make_unique<output::File>();
};

TEST_F(OutputFileTest, EmptiesTheFileThatItOpens) {
  writeFile(m_folder / "a", "earlier");
  EXPECT_FALSE(m_file->isOpen());
  open("a");
  EXPECT_TRUE(m_file->isOpen());
  EXPECT_EQ(content("a"), "");
}

TEST_F(OutputFileTest, HoldsShortTextsBackUntilItsEnd) {
  open("a");
  m_file->write("one ");
  m_file->write("two");
  EXPECT_EQ(content("a"), "");
  closeFile();
  EXPECT_EQ(content("a"), "one two");
}

TEST_F(OutputFileTest, HoldsNoLongTextBack) {
  open("a");
  m_file->write("one ");
  m_file->write(std::string(1023, 'x'));
  EXPECT_EQ(content("a"), "");
  m_file->write(std::string(1024, 'y'));
  EXPECT_EQ(content("a"), "one " + std::string(1023, 'x') + std::string(1024, 'y'));
}

TEST_F(OutputFileTest, GrantsWhatTheUmaskLeaves) {
  for (const mode_t mask : {0000U, 0027U}) {
    const mode_t before = umask(mask);
    output::File file;
    const std::string path = (m_folder / std::to_string(mask)).string();
    file.open(path);
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0666U & ~mask);
  }
}

TEST_F(OutputFileTest, FollowsALinkAndLeavesNothingOpen) {
  writeFile(m_folder / "target", "earlier");
  std::filesystem::create_symlink("target", m_folder / "link");
  const int before = dup(0);
  close(before);
  {
    output::File file;
    file.open((m_folder / "link").string());
    file.write("now");
  }
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, before);
  EXPECT_EQ(content("target"), "now");
  EXPECT_TRUE(std::filesystem::is_symlink(m_folder / "link"));
}

TEST_F(OutputFileTest, WritesTextsOfEverySizeInOrder) {
  std::string all;
  open("a");
  constexpr std::size_t kBuffer = BUFSIZ;
  for (const std::size_t size :
       std::initializer_list<std::size_t>{1, kBuffer - 1, 1, kBuffer, kBuffer + 1, 0, 3 * kBuffer, 2}) {
    const std::string text(size, static_cast<char>('a' + all.size() % 26));
    m_file->write(text);
    all += text;
    EXPECT_EQ(all.compare(0, content("a").size(), content("a")), 0) << size;
  }
  closeFile();
  EXPECT_EQ(content("a"), all);
}

TEST_F(OutputFileTest, SecondOpenKeepsTheFileAndIgnoresWrites) {
  open("a");
  m_file->write("before");
  open("b");
  m_file->write("after");
  closeFile();
  EXPECT_EQ(content("a"), "before");
  EXPECT_FALSE(std::filesystem::exists(m_folder / "b"));
}

TEST_F(OutputFileTest, IsWritableOnceAFileCouldBeOpened) {
  open("missing/a");
  EXPECT_FALSE(m_file->isOpen());
  m_file->write("lost");
  open("a");
  EXPECT_TRUE(m_file->isOpen());
  m_file->write("kept");
  closeFile();
  EXPECT_EQ(content("a"), "kept");
}

TEST_F(OutputFileTest, IgnoresWritesAfterOneThatFailed) {
  rlimit unlimited{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &unlimited), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit fourBytes{4, unlimited.rlim_max};
  open("a");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &fourBytes), 0);
  m_file->write(std::string(2000, 'x'));
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &unlimited), 0);
  std::signal(SIGXFSZ, handler);
  m_file->write("more");
  closeFile();
  EXPECT_EQ(content("a"), "xxxx");
}

}  // namespace
