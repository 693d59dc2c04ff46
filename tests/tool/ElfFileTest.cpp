#include "ElfFile.h"

#include <elf.h>
#include <gmock/gmock.h>

#include <cstring>

#include "TestSupport.h"

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Key;
using testing::Not;
using testing::Pair;

namespace {

const std::filesystem::path kLibraries = LIBRARIES_FOLDER;

struct Read {
  bool isElf;
  tool::ElfFile file;
};

Read read(std::string_view bytes, bool executable = false) {
  Read result{};
  result.isElf = tool::readElf(std::as_bytes(std::span(bytes)), executable, result.file);
  return result;
}

std::string library() {
  return readFile(kLibraries / "whole.so");
}

template <class T>
std::string withField(std::string bytes, std::size_t offset, T value) {
  std::memcpy(bytes.data() + offset, &value, sizeof(value));
  return bytes;
}

TEST(ElfFile, ALibraryShowsWhatItExports) {
  const Read whole = read(library());
  EXPECT_TRUE(whole.isElf);
  EXPECT_EQ(whole.file.refusal, "");
  EXPECT_THAT(whole.file.exports, Contains(Pair("NVMEDiscoverDrives", true)));
  EXPECT_THAT(whole.file.exports, Not(Contains(Key("helpDriveLibrary"))));
}

TEST(ElfFile, ImportsAndDataAreToldFromFunctions) {
  EXPECT_THAT(read(readFile(kLibraries / "needy.so")).file.imports, Contains("helpDriveLibrary"));
  EXPECT_THAT(read(readFile(kLibraries / "needy.so")).file.needed, Contains("libtool_test_helper.so"));
  EXPECT_THAT(read(readFile(kLibraries / "data_update.so")).file.exports,
              Contains(Pair("NVMEUpdateFirmware", false)));
}

TEST(ElfFile, AnExecutableIsRefusedAsALibraryAndReadAsAnExecutable) {
  const std::string bytes = readFile(COMPONENT_EXECUTABLE);
  EXPECT_EQ(read(bytes).file.refusal, "is an executable, not a library");
  EXPECT_EQ(read(bytes, true).file.refusal, "");
  EXPECT_THAT(read(bytes, true).file.needed, Contains("librbkl.so.0"));
  EXPECT_EQ(read(bytes, true).file.searchPath, "$ORIGIN");
}

TEST(ElfFile, WhatIsNoElfFileIsToldSo) {
  for (const std::string bytes : {"", "\177EL", "#!/bin/sh\n", "<xml/>"}) {
    EXPECT_FALSE(read(bytes).isElf) << bytes;
    EXPECT_EQ(read(bytes).file.refusal, "is not an ELF file") << bytes;
  }
  EXPECT_FALSE(read(library().substr(0, 19)).isElf);
}

TEST(ElfFile, AnotherMachineIsNamed) {
  const auto name = [](const std::string& bytes) { return read(bytes).file.architecture.name(); };
  EXPECT_EQ(name(withField<std::uint16_t>(library(), offsetof(Elf64_Ehdr, e_machine), EM_AARCH64)),
            "64-bit AArch64");
  EXPECT_EQ(name(withField<std::uint16_t>(library(), offsetof(Elf64_Ehdr, e_machine), 9999)),
            "64-bit machine 9999");
  const std::string narrow = withField<unsigned char>(library(), EI_CLASS, ELFCLASS32);
  EXPECT_EQ(name(withField<std::uint16_t>(narrow, offsetof(Elf64_Ehdr, e_machine), EM_386)), "32-bit x86");
  const std::string swapped = withField<std::uint16_t>(library(), offsetof(Elf64_Ehdr, e_machine), 0x1600);
  EXPECT_EQ(name(withField<unsigned char>(swapped, EI_DATA, ELFDATA2MSB)), "64-bit big-endian S/390");
}

TEST(ElfFile, RefusalsAreThoseOfTheLoader) {
  struct Case {
    const char* what;
    std::string bytes;
    const char* refusal;
  };
  const std::string whole = library();
  const Case cases[] = {
      {"executable", withField<std::uint16_t>(whole, offsetof(Elf64_Ehdr, e_type), ET_EXEC),
       "is an executable"},
      {"object file", withField<std::uint16_t>(whole, offsetof(Elf64_Ehdr, e_type), ET_REL),
       "is not a shared library"},
      {"no segments", withField<std::uint16_t>(whole, offsetof(Elf64_Ehdr, e_phnum), 0),
       "nothing in it is to be loaded"},
      {"segments elsewhere", withField<std::uint64_t>(whole, offsetof(Elf64_Ehdr, e_phoff), ~0ULL),
       "is damaged"},
      {"odd segments", withField<std::uint16_t>(whole, offsetof(Elf64_Ehdr, e_phentsize), 1),
       "no program headers"},
      {"half a file", whole.substr(0, whole.find("NVMEDiscoverDrives")), "is cut off"},
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(read(c.bytes).isElf) << c.what;
    EXPECT_THAT(read(c.bytes).file.refusal, HasSubstr(c.refusal)) << c.what;
    EXPECT_THAT(read(c.bytes).file.exports, IsEmpty()) << c.what;
  }
}

/// Nothing is asserted but that reading ends: the sanitizers watch every access.
TEST(ElfFile, NoDamageLeadsOutsideTheFile) {
  const std::string whole = library();
  for (std::size_t length = 0; length < whole.size(); length += 1 + length / 64)
    read(whole.substr(0, length));

  std::size_t refused = 0;
  constexpr std::size_t kHeadersAndTables = 0x900;
  for (std::size_t place = 0; place < std::min(whole.size(), kHeadersAndTables); ++place) {
    for (const char value : {'\0', '\x7F', '\xFF'}) {
      if (!read(withField(whole, place, value)).file.refusal.empty()) ++refused;
    }
  }
  EXPECT_GT(refused, 100U);
}

TEST(ElfFile, AFileThatCannotBeReadSaysWhy) {
  const ScratchFolder folder;
  const auto refusal = [](const std::filesystem::path& path) {
    tool::ElfFile file;
    EXPECT_FALSE(tool::readElf(path, false, file)) << path;
    return file.refusal;
  };
  writeFile(folder / "empty", "");
  EXPECT_THAT(refusal(folder / "missing"), HasSubstr("No such file"));
  EXPECT_EQ(refusal(folder.path()), "is not a regular file");
  EXPECT_EQ(refusal(folder / "empty"), "is empty");
}

}  // namespace
