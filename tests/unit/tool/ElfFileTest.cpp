#include "ElfFile.h"

#include <elf.h>
#include <gmock/gmock.h>

#include <array>
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

TEST(ElfFile, VersionsAreToldOnBothSides) {
  EXPECT_THAT(read(readFile(kLibraries / "versioned.so")).file.neededVersions["libversioned_helper.so"],
              testing::ElementsAre("HELPER_2"));
  EXPECT_THAT(read(readFile(kLibraries / "newer" / "libversioned_helper.so")).file.versions,
              Contains("HELPER_2"));
  EXPECT_THAT(read(readFile(kLibraries / "older" / "libversioned_helper.so")).file.versions,
              testing::AllOf(Contains("HELPER_1"), Not(Contains("HELPER_2"))));
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
      {"another ELF version", withField<unsigned char>(whole, EI_VERSION, 2), "unknown ELF version"},
      {"another header version", withField<std::uint32_t>(whole, offsetof(Elf64_Ehdr, e_version), 2),
       "unknown ELF version"},
      {"another system", withField<unsigned char>(whole, EI_OSABI, ELFOSABI_FREEBSD),
       "another operating system"},
      {"another interface", withField<unsigned char>(whole, EI_ABIVERSION, 1), "another binary interface"},
      {"half a file", whole.substr(0, whole.find("NVMEDiscoverDrives")), "is cut off"},
  };
  for (const Case& c : cases) {
    EXPECT_TRUE(read(c.bytes).isElf) << c.what;
    EXPECT_THAT(read(c.bytes).file.refusal, HasSubstr(c.refusal)) << c.what;
    EXPECT_THAT(read(c.bytes).file.exports, IsEmpty()) << c.what;
  }
}

/// A file whose symbols all are named after one long text, each with one character less than the one before.
TEST(ElfFile, NamesThatShareTheirBytesEndTheReading) {
  constexpr std::size_t kSymbols = 20000;
  constexpr std::size_t kName = 400000;
  struct Layout {
    Elf64_Ehdr header;
    std::array<Elf64_Phdr, 2> segments;
    std::array<Elf64_Dyn, 5> dynamic;
    std::array<std::uint32_t, 2> hash;
  } layout{};
  const std::size_t symbols = sizeof(Layout);
  const std::size_t names = symbols + kSymbols * sizeof(Elf64_Sym);
  std::memcpy(&layout.header, library().data(), sizeof(layout.header));
  layout.header.e_phoff = offsetof(Layout, segments);
  layout.header.e_phnum = 2;
  layout.segments[0].p_type = PT_LOAD;
  layout.segments[0].p_filesz = names + kName;
  layout.segments[1] = {PT_DYNAMIC, 0, offsetof(Layout, dynamic), 0, 0, sizeof(layout.dynamic), 0, 0};
  layout.dynamic = {{{DT_HASH, {offsetof(Layout, hash)}},
                     {DT_SYMTAB, {symbols}},
                     {DT_STRTAB, {names}},
                     {DT_STRSZ, {kName}},
                     {DT_NULL, {0}}}};
  layout.hash = {0, kSymbols};
  std::string file(names + kName, 'x');
  file.back() = '\0';
  std::memcpy(file.data(), &layout, sizeof(layout));
  for (std::size_t i = 0; i < kSymbols; ++i) {
    const Elf64_Sym symbol{static_cast<Elf64_Word>(i), ELF64_ST_INFO(STB_GLOBAL, STT_FUNC), 0, 1, 0, 0};
    std::memcpy(file.data() + symbols + i * sizeof(symbol), &symbol, sizeof(symbol));
  }
  EXPECT_EQ(read(file).file.refusal, "is damaged: its names are longer than the file can hold");
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
