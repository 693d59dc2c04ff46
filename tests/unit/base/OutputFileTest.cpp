#include "OutputFile.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <initializer_list>
#include <string>

#include "TestSupport.h"

namespace {

class OutputFile : public testing::Test {
 protected:
  void open(const char* name) { m_file.open((m_folder / name).string()); }
  std::string content(const char* name) const { return readFile(m_folder / name); }

  ScratchFolder m_folder;
  COutputFile m_file;
};

TEST_F(OutputFile, EmptiesTheFileThatItOpens) {
  writeFile(m_folder / "a", "earlier");
  EXPECT_FALSE(m_file.isOpen());
  open("a");
  EXPECT_TRUE(m_file.isOpen());
  EXPECT_EQ(content("a"), "");
}

TEST_F(OutputFile, HoldsTextBackUntilItIsFlushed) {
  open("a");
  m_file.write("one ");
  m_file.write("two");
  EXPECT_EQ(content("a"), "");
  m_file.flush();
  EXPECT_EQ(content("a"), "one two");
  m_file.flush();
  EXPECT_EQ(content("a"), "one two");
}

TEST_F(OutputFile, WritesAtItsEndWhatItHoldsBack) {
  {
    COutputFile file;
    file.open((m_folder / "a").string());
    file.write("one");
  }
  EXPECT_EQ(content("a"), "one");
}

TEST_F(OutputFile, HoldsNoLongTextBack) {
  open("a");
  m_file.write("one ");
  m_file.write(std::string(1023, 'x'));
  EXPECT_EQ(content("a"), "");
  m_file.write(std::string(1024, 'y'));
  EXPECT_EQ(content("a"), "one " + std::string(1023, 'x') + std::string(1024, 'y'));
}

TEST_F(OutputFile, IsForAllWhomTheUmaskLeaves) {
  for (const mode_t mask : {0000U, 0027U}) {
    const mode_t before = umask(mask);
    COutputFile file;
    const std::string path = (m_folder / std::to_string(mask)).string();
    file.open(path);
    umask(before);
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0666U & ~mask);
  }
}

TEST_F(OutputFile, FollowsALinkAndLeavesNothingOpen) {
  writeFile(m_folder / "target", "earlier");
  std::filesystem::create_symlink("target", m_folder / "link");
  const int before = dup(0);
  close(before);
  {
    COutputFile file;
    file.open((m_folder / "link").string());
    file.write("now");
  }
  const int after = dup(0);
  close(after);
  EXPECT_EQ(after, before);
  EXPECT_EQ(content("target"), "now");
  EXPECT_TRUE(std::filesystem::is_symlink(m_folder / "link"));
}

TEST_F(OutputFile, WritesTextsOfEverySizeInOrder) {
  std::string all;
  open("a");
  constexpr std::size_t kBuffer = BUFSIZ;
  for (const std::size_t size :
       std::initializer_list<std::size_t>{1, kBuffer - 1, 1, kBuffer, kBuffer + 1, 0, 3 * kBuffer, 2}) {
    const std::string text(size, static_cast<char>('a' + all.size() % 26));
    m_file.write(text);
    all += text;
    EXPECT_EQ(all.compare(0, content("a").size(), content("a")), 0) << size;
  }
  m_file.flush();
  EXPECT_EQ(content("a"), all);
}

TEST_F(OutputFile, StaysWithItsFirstFileWhichThenTakesNothingMore) {
  open("a");
  m_file.write("before");
  open("b");
  m_file.write("after");
  m_file.flush();
  EXPECT_EQ(content("a"), "before");
  EXPECT_FALSE(std::filesystem::exists(m_folder / "b"));
}

TEST_F(OutputFile, IsWritableOnceAFileCouldBeOpened) {
  open("missing/a");
  EXPECT_FALSE(m_file.isOpen());
  m_file.write("lost");
  open("a");
  EXPECT_TRUE(m_file.isOpen());
  m_file.write("kept");
  m_file.flush();
  EXPECT_EQ(content("a"), "kept");
}

TEST_F(OutputFile, TakesNothingMoreOnceSpoilt) {
  open("a");
  m_file.write("before");
  m_file.spoil();
  m_file.write("after");
  m_file.flush();
  EXPECT_EQ(content("a"), "before");
}

TEST_F(OutputFile, TakesNothingMoreAfterAWriteThatFailed) {
  rlimit unlimited{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &unlimited), 0);
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  const rlimit fourBytes{4, unlimited.rlim_max};
  open("a");
  m_file.write("a text");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &fourBytes), 0);
  m_file.flush();
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &unlimited), 0);
  std::signal(SIGXFSZ, handler);
  m_file.write("more");
  m_file.flush();
  EXPECT_EQ(content("a"), "a te");
}

TEST_F(OutputFile, GoesBehindWhatOthersHaveAdded) {
  open("a");
  m_file.write("one");
  m_file.flush();
  writeFile(m_folder / "a", "another's");
  m_file.seekEnd();
  m_file.write(" two");
  m_file.flush();
  EXPECT_EQ(content("a"), "another's two");
}

TEST_F(OutputFile, APipeHasNoEndAndTakesNothingMore) {
  const std::string path = (m_folder / "pipe").string();
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  open("pipe");
  m_file.write("one");
  m_file.flush();
  m_file.seekEnd();
  m_file.write("two");
  m_file.flush();
  std::array<char, 16> bytes{};
  EXPECT_EQ(read(reader, bytes.data(), bytes.size()), 3);
  EXPECT_EQ(std::string(bytes.data()), "one");
  close(reader);
}

}  // namespace
