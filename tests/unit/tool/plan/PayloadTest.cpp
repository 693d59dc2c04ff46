#include "Payload.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "TestSupport.h"

namespace tool {

namespace {

class PayloadTest : public ::testing::Test {
 protected:
  /// The problem with the folder's own path left out.
  std::string problem() const {
    const std::string text = readPayload(m_folder.path()).problem;
    const std::string place = (m_folder / "payload").string() + ": ";
    EXPECT_TRUE(text.starts_with(place)) << text;
    return text.substr(std::min(place.size(), text.size()));
  }

  ScratchFolder m_folder;
};

TEST_F(PayloadTest, OneFileHasNameAndChecksum) {
  writeFile(m_folder / "payload/firmware.bin", "abc");
  const Payload payload = readPayload(m_folder.path());
  EXPECT_EQ(payload.problem, "");
  EXPECT_EQ(payload.name, "firmware.bin");
  EXPECT_EQ(payload.sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(PayloadTest, TheChecksumIsOfAFileOfAnyLength) {
  writeFile(m_folder / "payload/firmware.bin", std::string(1000000, 'a'));
  EXPECT_EQ(readPayload(m_folder.path()).sha256,
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST_F(PayloadTest, AnythingButOneFileIsAProblem) {
  EXPECT_EQ(problem(), "No such file or directory");
  std::filesystem::create_directory(m_folder / "payload");
  EXPECT_EQ(problem(), "holds 0 files instead of one");
  writeFile(m_folder / "payload/one.bin", "");
  EXPECT_EQ(problem(), "one.bin is empty");
  writeFile(m_folder / "payload/two.bin", "x");
  EXPECT_EQ(problem(), "holds 2 files instead of one");
}

TEST_F(PayloadTest, APipeIsNotWaitedFor) {
  std::filesystem::create_directory(m_folder / "payload");
  ASSERT_EQ(mkfifo((m_folder / "payload/pipe").c_str(), 0600), 0);
  EXPECT_EQ(problem(), "pipe is no regular file");
}

}  // namespace

}  // namespace tool
