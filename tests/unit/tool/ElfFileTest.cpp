#include "ElfFile.h"

#include <elf.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <array>
#include <cstring>

#include "PackageFolder.h"
#include "TestSupport.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Key;
using testing::Not;
using testing::Pair;

namespace {

std::string library() {
  return readFile(kLibraries / "whole.so");
}

template <class T>
std::string withField(std::string bytes, std::size_t offset, T value) {
  std::memcpy(bytes.data() + offset, &value, sizeof(value));
  return bytes;
}

class ElfFile : public testing::Test {
 protected:
  tool::ElfFile read(std::string_view bytes) {
    writeFile(m_folder / "file", bytes);
    return tool::readElf(m_folder / "file");
  }

  ScratchFolder m_folder;
};

TEST_F(ElfFile, ALibraryShowsWhatItExports) {
  const tool::ElfFile whole = tool::readElf(kLibraries / "whole.so");
  EXPECT_EQ(whole.damage, "");
  EXPECT_TRUE(whole.hasSymbols);
  EXPECT_FALSE(whole.isExecutable);
  EXPECT_THAT(whole.exports, Contains(Pair("NVMEDiscoverDrives", true)));
  EXPECT_THAT(whole.exports, Not(Contains(Key("helpDriveLibrary"))));
}

TEST_F(ElfFile, ImportsAndDataAreToldFromFunctions) {
  const tool::ElfFile needy = tool::readElf(kLibraries / "needy.so");
  EXPECT_THAT(needy.imports, Contains("helpDriveLibrary"));
  EXPECT_THAT(needy.needed, Contains("libtool_test_helper.so"));
  EXPECT_THAT(tool::readElf(kLibraries / "data_update.so").exports,
              Contains(Pair("NVMEUpdateFirmware", false)));
  EXPECT_EQ(tool::readElf(kLibraries / "libtool_test_helper.so").soname, "libtool_test_helper.so");
}

TEST_F(ElfFile, AnExecutableIsTold) {
  const tool::ElfFile executable = tool::readElf(COMPONENT_EXECUTABLE);
  EXPECT_EQ(executable.damage, "");
  EXPECT_TRUE(executable.isExecutable);
  EXPECT_THAT(executable.needed, Contains("librbkl.so.0"));
  EXPECT_EQ(executable.searchPath, "$ORIGIN");
  EXPECT_TRUE(executable.isProgram());
  const tool::ElfFile unlinked =
      read(withField<std::uint16_t>(library(), offsetof(Elf64_Ehdr, e_type), ET_EXEC));
  EXPECT_TRUE(unlinked.isExecutable);
  EXPECT_TRUE(unlinked.isProgram()) << "though it has no loader";
  EXPECT_FALSE(read(library()).isProgram());
}

TEST_F(ElfFile, TheOlderKindOfRunPathIsReadToo) {
  const std::string newer = readFile(kLibraries / "relative.so");
  EXPECT_EQ(read(newer).searchPath, "lib");
  const std::string older =
      withDynamicEntry(newer, DT_RUNPATH, [](Elf64_Dyn& entry) { entry.d_tag = DT_RPATH; });
  EXPECT_EQ(read(older).searchPath, "lib");
}

TEST_F(ElfFile, VersionsAreToldWhereTheyAreDefinedAndNeeded) {
  EXPECT_THAT(tool::readElf(kLibraries / "older/libversioned_helper.so").versions, Contains("HELPER_1"));
  EXPECT_THAT(tool::readElf(kLibraries / "versioned.so").neededVersions,
              Contains(Pair("libversioned_helper.so", ElementsAre("HELPER_2"))));
  EXPECT_TRUE(tool::readElf(kLibraries / "whole.so").interpreter.empty());
  EXPECT_THAT(tool::readElf(COMPONENT_EXECUTABLE).interpreter, HasSubstr("/ld"));
}

TEST_F(ElfFile, WhatIsNoElfFileIsToldSo) {
  for (const std::string bytes : {"\177EL", "#!/bin/sh\n", "<xml/>"}) {
    EXPECT_EQ(read(bytes).damage, "is not an ELF file") << bytes;
    EXPECT_EQ(read(bytes).architecture, tool::ElfArchitecture{}) << bytes;
  }
  EXPECT_NE(read(library().substr(0, 19)).damage, "");
}

TEST_F(ElfFile, AnotherMachineIsNamed) {
  const auto name = [&](const std::string& bytes) { return read(bytes).architecture.name(); };
  EXPECT_EQ(name(withField<std::uint16_t>(library(), offsetof(Elf64_Ehdr, e_machine), EM_AARCH64)),
            "64-bit AArch64");
  EXPECT_EQ(name(withField<std::uint16_t>(library(), offsetof(Elf64_Ehdr, e_machine), 9999)),
            "64-bit machine 9999");
  const std::string narrow = withField<unsigned char>(library(), EI_CLASS, ELFCLASS32);
  EXPECT_EQ(name(withField<std::uint16_t>(narrow, offsetof(Elf64_Ehdr, e_machine), EM_386)), "32-bit x86");
  const std::string swapped = withField<std::uint16_t>(library(), offsetof(Elf64_Ehdr, e_machine), 0x1600);
  EXPECT_EQ(name(withField<unsigned char>(swapped, EI_DATA, ELFDATA2MSB)), "64-bit big-endian S/390");
}

TEST_F(ElfFile, SegmentsMustLieInTheFileAndApart) {
  const std::string whole = library();
  Elf64_Ehdr header{};
  std::memcpy(&header, whole.data(), sizeof(header));
  const std::size_t place = whole.find("NVMEDiscoverDrives");
  EXPECT_EQ(read(whole.substr(0, place)).damage,
            "is cut off: a part to be loaded lies beyond its " + std::to_string(place) + " bytes");
  EXPECT_THAT(
      read(withField<std::uint64_t>(whole, header.e_phoff + offsetof(Elf64_Phdr, p_memsz), 1U << 30U)).damage,
      HasSubstr("segments lie across each other"));
  EXPECT_THAT(
      read(withField<std::uint64_t>(whole, header.e_phoff + offsetof(Elf64_Phdr, p_offset), ~0ULL)).damage,
      HasSubstr("is cut off"));
}

/// A file whose symbols all are named after one long text, each with one character less than the one before.
TEST_F(ElfFile, NamesThatShareTheirBytesEndTheReading) {
  constexpr std::size_t kSymbols = 20000;
  constexpr std::size_t kName = 400000;
  struct Layout {
    Elf64_Ehdr header;
    std::array<Elf64_Shdr, 3> sections;
  } layout{};
  const std::size_t symbols = sizeof(Layout);
  const std::size_t names = symbols + kSymbols * sizeof(Elf64_Sym);
  std::memcpy(&layout.header, library().data(), sizeof(layout.header));
  layout.header.e_phnum = 0;
  layout.header.e_shoff = offsetof(Layout, sections);
  layout.header.e_shnum = 3;
  layout.header.e_shstrndx = 2;
  layout.sections[1] = {0, SHT_DYNSYM, 0, 0, symbols, names - symbols, 2, 1, 8, sizeof(Elf64_Sym)};
  layout.sections[2] = {0, SHT_STRTAB, 0, 0, names, kName, 0, 0, 1, 0};
  std::string file(names + kName, 'x');
  file.back() = '\0';
  std::memcpy(file.data(), &layout, sizeof(layout));
  for (std::size_t i = 0; i < kSymbols; ++i) {
    const Elf64_Sym symbol{static_cast<Elf64_Word>(i), ELF64_ST_INFO(STB_GLOBAL, STT_FUNC), 0, 1, 0, 0};
    std::memcpy(file.data() + symbols + i * sizeof(symbol), &symbol, sizeof(symbol));
  }
  EXPECT_EQ(read(file).sectionDamage, "is damaged: its names are longer than the file can hold");
}

/// Nothing is asserted but that reading ends: the sanitizers watch every access.
TEST_F(ElfFile, NoDamageLeadsOutsideTheFile) {
  const std::string whole = library();
  for (std::size_t length = 1; length < whole.size(); length += 1 + length / 16)
    read(whole.substr(0, length));

  std::size_t damaged = 0;
  constexpr std::size_t kHeaders = 0x400;
  for (std::size_t place = 0; place < kHeaders; ++place) {
    constexpr char kValues[] = {'\0', '\x7F', '\xFF'};
    if (!read(withField(whole, place, kValues[place % 3])).damage.empty()) ++damaged;
  }
  EXPECT_GT(damaged, 25U);
}

TEST_F(ElfFile, AFileThatCannotBeReadSaysWhy) {
  writeFile(m_folder / "empty", "");
  ASSERT_EQ(mkfifo((m_folder / "pipe").c_str(), 0600), 0);
  EXPECT_THAT(tool::readElf(m_folder / "missing").damage, HasSubstr("No such file"));
  EXPECT_EQ(tool::readElf(m_folder.path()).damage, "is not a regular file");
  EXPECT_EQ(tool::readElf(m_folder / "pipe").damage, "is not a regular file");
  EXPECT_EQ(tool::readElf(m_folder / "empty").damage, "is empty");
}

}  // namespace
