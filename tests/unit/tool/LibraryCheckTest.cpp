#include "Checks.h"

#include <elf.h>
#include <gmock/gmock.h>

#include <cstdlib>

#include "PackageFolder.h"

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

/// A processor that is not this one, and what it is called.
#ifdef __aarch64__
constexpr char kForeign = EM_X86_64;
constexpr char kForeignName[] = "64-bit x86-64";
#else
constexpr char kForeign = static_cast<char>(EM_AARCH64);
constexpr char kForeignName[] = "64-bit AArch64";
#endif
constexpr std::size_t kMachine = offsetof(Elf64_Ehdr, e_machine);

class LibraryCheck : public PackageFolder {
 protected:
  ~LibraryCheck() override { unsetenv("LD_LIBRARY_PATH"); }

  void setLoaderPath(const std::string& path) { setenv("LD_LIBRARY_PATH", path.c_str(), 1); }
  std::vector<std::string> problems() const {
    return problemsOf(tool::checkLibrary(tool::Package(folder())));
  }
  /// What the one finding says of the run.
  std::string atRunTime() const {
    const tool::Findings findings = tool::checkLibrary(tool::Package(folder()));
    EXPECT_EQ(findings.size(), 1U);
    return findings.empty() ? "" : findings.front().consequence;
  }
};

TEST_F(LibraryCheck, ALibraryThatTheLoaderRefusesIsFound) {
  const std::string bytes = readFile(folder() / "libnvme.so");
  fs::remove(folder() / "libnvme.so");
  EXPECT_THAT(problems(), ElementsAre("libnvme.so: drive library is missing"));
  write("libnvme.so", "not a library");
  EXPECT_THAT(problems(), ElementsAre("libnvme.so: drive library cannot be loaded: it is not an ELF file"));
  write("libnvme.so", bytes.substr(0, bytes.size() / 3));
  EXPECT_THAT(problems(), ElementsAre(StartsWith("libnvme.so: drive library is cut off: a part")));
  std::string foreign = bytes;
  foreign[kMachine] = kForeign;
  write("libnvme.so", foreign);
  EXPECT_THAT(problems(), ElementsAre(HasSubstr(std::string("drive library is for ") + kForeignName +
                                                ", while nvmepcissd is")));
  write("libnvme.so", readFile(COMPONENT_EXECUTABLE));
  EXPECT_THAT(problems(), ElementsAre("libnvme.so: drive library cannot be loaded: cannot dynamically load "
                                      "position-independent executable"));
}

TEST_F(LibraryCheck, ALibraryThatForbidsToBeOpenedIsFound) {
  write("libnvme.so", withDynamicEntry(readFile(folder() / "libnvme.so"), DT_RELACOUNT, [](Elf64_Dyn& entry) {
          entry = {DT_FLAGS_1, {DF_1_NOOPEN}};
        }));
  EXPECT_THAT(problems(),
              ElementsAre("libnvme.so: drive library cannot be loaded: it forbids being loaded at run time"));
}

/// The loader reads the table of symbols from where the library says that it is.
TEST_F(LibraryCheck, ALibraryThatCrashesTheLoaderIsFound) {
  write("libnvme.so", withDynamicEntry(readFile(folder() / "libnvme.so"), DT_GNU_HASH, [](Elf64_Dyn& entry) {
          constexpr Elf64_Addr kNowhere = 1ULL << 46U;
          entry.d_un.d_ptr = kNowhere;
        }));
  EXPECT_THAT(problems(),
              ElementsAre("libnvme.so: the loader crashes on the drive library: Segmentation fault"));
  EXPECT_EQ(atRunTime(), "the run is ended by this signal, without a document");
}

/// The loader passes over libraries of other machines and stops at those that it cannot load.
TEST_F(LibraryCheck, AnotherLibraryIsOpenedOnlyInPlaceOfOneThatIsPassedOver) {
  const std::string bytes = readFile(folder() / "libnvme.so");
  const auto outcomeWith = [&](std::size_t place, char value) {
    std::string changed = bytes;
    changed[place] = value;
    write("libnvme.so", changed);
    return atRunTime();
  };
  EXPECT_THAT(outcomeWith(EI_CLASS, ELFCLASS32),
              StartsWith("a libnvme.so on the loader's search path is opened"));
  EXPECT_THAT(outcomeWith(kMachine, kForeign),
              StartsWith("a libnvme.so on the loader's search path is opened"));
  constexpr std::size_t kFatal[] = {EI_MAG1, EI_DATA, EI_VERSION, EI_OSABI};
  for (const std::size_t place : kFatal)
    EXPECT_THAT(outcomeWith(place, '\x02'), StartsWith("the loader looks no further, except")) << place;
  useLibrary("needy.so");
  EXPECT_THAT(atRunTime(), StartsWith("the loader looks no further, except"));
  fs::remove(folder() / "libnvme.so");
  EXPECT_THAT(atRunTime(), StartsWith("a libnvme.so on the loader's search path is opened"));
}

TEST_F(LibraryCheck, ALibraryForANewerSystemIsFound) {
  useLibrary("versioned.so");
  addLibrary("newer/libversioned_helper.so", "libversioned_helper.so");
  EXPECT_THAT(problems(), IsEmpty());
  addLibrary("older/libversioned_helper.so", "libversioned_helper.so");
  EXPECT_THAT(problems(),
              ElementsAre("libnvme.so: drive library cannot be loaded: it was linked for HELPER_2 of "
                          "libversioned_helper.so, which is older here"));
}

TEST_F(LibraryCheck, TheLibraryIsMeasuredAgainstTheExecutableInTheFolder) {
  std::string executable = readFile(COMPONENT_EXECUTABLE);
  executable[kMachine] = kForeign;
  write("nvmepcissd", executable);
  EXPECT_THAT(problems(), ElementsAre(HasSubstr(std::string("while nvmepcissd is ") + kForeignName)));
}

TEST_F(LibraryCheck, EntryPointsAreMissed) {
  useLibrary("without_info.so");
  EXPECT_THAT(problems(), ElementsAre("libnvme.so: drive library lacks the entry point NVMEGetDriveInfo"));
  useLibrary("data_update.so");
  EXPECT_THAT(problems(),
              ElementsAre("libnvme.so: the drive library's NVMEUpdateFirmware is not a function"));
}

TEST_F(LibraryCheck, WhatTheLibraryNeedsMustBeFoundToo) {
  useLibrary("unbound.so");
  EXPECT_THAT(
      problems(),
      ElementsAre(HasSubstr("helpDriveLibrary, which it uses, is in none of the libraries that are loaded")));
  useLibrary("needy.so");
  EXPECT_THAT(problems(),
              ElementsAre(HasSubstr("libtool_test_helper.so, which it needs, is not on the loader's")));
  setLoaderPath(kLibraries);
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(LibraryCheck, WhatTheLibraryNeedsMustBeLoadedToo) {
  useLibrary("needy.so");
  write("libtool_test_helper.so", "not a library");
  setLoaderPath(".");
  EXPECT_THAT(problems(), ElementsAre("libnvme.so: drive library cannot be loaded: ./libtool_test_helper.so: "
                                      "file too short"));
}

TEST_F(LibraryCheck, RelativeFoldersAreSeenFromTheComponentFolder) {
  useLibrary("needy.so");
  fs::create_directory(folder() / "lib");
  addLibrary("libtool_test_helper.so", "lib/libtool_test_helper.so");
  setLoaderPath("lib");
  EXPECT_THAT(problems(), IsEmpty());
  unsetenv("LD_LIBRARY_PATH");
  useLibrary("relative.so");
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(LibraryCheck, WhatTheProcessHasLoadedNeedNotBeFoundAgain) {
  useLibrary("needs_rollback.so");
  EXPECT_THAT(problems(), IsEmpty());
  fs::remove(folder() / "nvmepcissd");
  EXPECT_THAT(problems(), ElementsAre(HasSubstr("librbkl.so.0, which it needs, is not on the loader's")));
}

TEST_F(LibraryCheck, ANameThatIsMissingTwoLibrariesDownIsFound) {
  useLibrary("needs_unbound.so");
  addLibrary("libunbound_helper.so", "libunbound_helper.so");
  EXPECT_THAT(
      problems(),
      ElementsAre(HasSubstr("noSuchFunction, which libunbound_helper.so, which it needs, uses, is in none")));
}

TEST_F(LibraryCheck, ALibraryOrANeededOneThatIsAPipeHangsTheRun) {
  fs::remove(folder() / "libnvme.so");
  ASSERT_EQ(mkfifo((folder() / "libnvme.so").c_str(), 0644), 0);
  EXPECT_THAT(atRunTime(), HasSubstr("the run hangs"));
  fs::remove(folder() / "libnvme.so");
  useLibrary("needy.so");
  ASSERT_EQ(mkfifo((folder() / "libtool_test_helper.so").c_str(), 0644), 0);
  setLoaderPath(".");
  const tool::Findings findings = tool::checkLibrary(tool::Package(folder()), 300ms);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].problem,
            "the loader was still busy with the drive library after 300 ms and was ended");
}

}  // namespace
