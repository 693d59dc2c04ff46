#include "Image.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "ScriptedHost.h"

namespace nvme_linux {

namespace {

using ::testing::IsEmpty;

class ImageTest : public ::testing::Test {
 protected:
  int readFrom(const std::string& path) { return readImage(m_host, "Drive", path, m_image).code(); }
  int read(const std::string& bytes) { return readFrom(m_host.payload(Bytes(bytes.begin(), bytes.end()))); }

  ScriptedHost m_host;
  Bytes m_image;
};

TEST_F(ImageTest, IsReadWhole) {
  for (const std::size_t size : {4U, 4096U, 100000U}) {
    EXPECT_EQ(readFrom(m_host.payload(image(size))), 0);
    EXPECT_EQ(m_image, image(size));
  }
  EXPECT_THAT(m_host.reports(), IsEmpty());
}

TEST_F(ImageTest, WhatIsNoImageFileIsRefused) {
  EXPECT_EQ(read(""), -ENODATA);
  for (const std::size_t size : {1U, 2U, 3U, 4097U, 4098U}) {
    EXPECT_EQ(readFrom(m_host.payload(image(size))), -EINVAL) << size;
  }
  EXPECT_EQ(readFrom("missing.bin"), -ENOENT);
  EXPECT_EQ(m_host.reports().back(),
            "err: Drive: payload missing.bin refused: No such file or directory (errno 2)");
  EXPECT_EQ(readFrom(std::filesystem::temp_directory_path()), -EINVAL);
  const std::string endless = m_host.payload(image(4));
  std::filesystem::resize_file(endless, (128U << 20) + 4);
  EXPECT_EQ(readFrom(endless), -EFBIG);
  std::filesystem::resize_file(endless, 128U << 20);
  EXPECT_EQ(readFrom(endless), 0) << "the longest";
}

TEST_F(ImageTest, ArchivesAreRefused) {
  const std::string disc = std::string(0x8001, '\0') + "CD001\1";
  const std::string tar = std::string(257, 'a') + "ustar" + std::string(250, '\0');
  for (const auto& [begin, kind] : {std::pair{std::string("PK\x03\x04"), "a zip archive"},
                                    std::pair{std::string("\x1F\x8B\x08"), "a gzip archive"},
                                    std::pair{std::string("BZh91AY&SY"), "a bzip2 archive"},
                                    std::pair{std::string("\xFD"
                                                          "7zXZ\0",
                                                          6),
                                              "an xz archive"},
                                    std::pair{std::string("\x28\xB5\x2F\xFD"), "a zstd archive"},
                                    std::pair{std::string("7z\xBC\xAF\x27\x1C"), "a 7z archive"},
                                    std::pair{std::string("Rar!\x1A\x07"), "a rar archive"},
                                    std::pair{std::string("MSCF\0\0\0\0", 8), "a cab archive"},
                                    std::pair{std::string("!<arch>\n"), "a Debian package or ar archive"},
                                    std::pair{std::string("\xED\xAB\xEE\xDB"), "an RPM package"},
                                    std::pair{std::string("070701"), "a cpio archive"},
                                    std::pair{std::string("\x04\x22\x4D\x18"), "an lz4 archive"},
                                    std::pair{tar, "a tar archive"}, std::pair{disc, "an ISO 9660 image"}}) {
    std::string bytes = begin;
    bytes.resize((bytes.size() + 3) / 4 * 4 + 4, '\x80');
    EXPECT_EQ(read(bytes), -EMEDIUMTYPE) << kind;
    EXPECT_THAT(m_host.reports().back(),
                ::testing::EndsWith(std::string("refused: it is ") + kind + "; unpack it"));
  }
}

TEST_F(ImageTest, BlankImagesAreRefused) {
  EXPECT_EQ(read(std::string(8192, '\0')), -EMEDIUMTYPE);
  EXPECT_THAT(m_host.reports().back(), ::testing::EndsWith("refused: it is blank: every byte is 0x00"));
  EXPECT_EQ(read(std::string(4, '\xFF')), -EMEDIUMTYPE);
  EXPECT_THAT(m_host.reports().back(), ::testing::EndsWith("refused: it is blank: every byte is 0xFF"));
  EXPECT_EQ(read(std::string(8191, '\0') + "\1"), 0);
}

TEST_F(ImageTest, ATextIsWarnedAboutAndTaken) {
  EXPECT_EQ(read("Release notes\r\n\t!"), -EINVAL) << "for its length";
  EXPECT_EQ(read("Notes:\t\r\n~!?"), 0);
  EXPECT_THAT(m_host.reports().back(), ::testing::HasSubstr("is a text; only the drive can tell"));
}

}  // namespace

}  // namespace nvme_linux
