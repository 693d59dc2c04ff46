#include "PackageCheck.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include "PackageFolder.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class PackageCheck : public PackageFolder {
 protected:
  std::vector<std::string> problems() const { return problemsOf(tool::checkPackage(folder())); }
};

TEST_F(PackageCheck, AWholePackageHasNoFindings) {
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(PackageCheck, DescriptorFindingsAreAmongThem) {
  fs::remove(folder() / "package.xml");
  EXPECT_THAT(problems(), ElementsAre("package.xml: descriptor is missing"));
}

TEST_F(PackageCheck, FindingsAboutAWholeFileHaveNoLine) {
  const auto lines = [](const fs::path& package) {
    std::vector<long> found;
    for (const tool::Finding& finding : tool::checkPackage(package)) found.push_back(finding.line);
    return found;
  };
  fs::remove(folder() / "package.xml");
  write("payload/firmware.bin", "");
  EXPECT_THAT(lines(folder()), AllOf(Not(IsEmpty()), Each(0)));
  fs::remove(folder() / "payload" / "firmware.bin");
  fs::create_directory(folder() / "payload" / "firmware");
  EXPECT_THAT(lines(folder()), AllOf(Not(IsEmpty()), Each(0)));
  EXPECT_THAT(lines(folder() / "missing"), ElementsAre(0));
}

TEST_F(PackageCheck, ThePayloadFolderHoldsExactlyOneRegularFile) {
  write("payload/notes.txt", "x");
  EXPECT_THAT(problems(),
              ElementsAre("payload: payload folder holds 2 entries instead of one: firmware.bin, notes.txt"));
  fs::remove(folder() / "payload" / "notes.txt");
  fs::remove(folder() / "payload" / "firmware.bin");
  EXPECT_THAT(problems(), ElementsAre("payload: payload folder is empty"));
  fs::create_directory(folder() / "payload" / "firmware");
  setMode("payload/firmware", 0755);
  EXPECT_THAT(problems(), ElementsAre("payload/firmware: payload is not a regular file"));
  fs::remove(folder() / "payload" / "firmware");
  fs::create_symlink("nowhere", folder() / "payload" / "link");
  EXPECT_THAT(problems(), Contains("payload/link: payload is not a regular file"));
  fs::remove(folder() / "payload" / "link");
  write("payload/.hidden", "");
  EXPECT_THAT(problems(), ElementsAre("payload/.hidden: payload is empty"));
  fs::remove_all(folder() / "payload");
  EXPECT_THAT(problems(), ElementsAre("payload: payload folder is missing"));
  write("payload", "a file");
  EXPECT_THAT(problems(), ElementsAre("payload: payload is not a folder"));
}

TEST_F(PackageCheck, AnArchiveOfAnotherProgramIsFoundByItsFirstBytes) {
  for (const auto& [start, kind] :
       {std::pair{"BZh91AY", "a bzip2 archive"}, std::pair{"LZIP", "an lzip archive"},
        std::pair{"\x1F\x9D", "a file of compress"}}) {
    write("payload/firmware.bin", start);
    EXPECT_THAT(problems(), ElementsAre(std::string("payload/firmware.bin: payload is ") + kind));
  }
}

TEST_F(PackageCheck, ATextIsFoundInAnyEncoding) {
  using namespace std::string_literals;
  for (const std::string& text : {"\xFE\xFF\0R\0e\0a\0d\0\t\0m\0e\0\n"s, "a\tb\r\nc\f"s,
                                  "na\xEFve, in one byte a character"s, "\xC3\xA4\xC3\xB6\xC3\xBC\xC3"s}) {
    write("payload/firmware.bin", text);
    EXPECT_THAT(problems(), ElementsAre("payload/firmware.bin: payload is a text")) << text;
  }
  for (const std::string& code :
       {"\xFF\xFE\1\2\3\4\5\6"s, "\xFE\xFF\0\1\0\x7F\0\2"s, "abc\x7F"s, "\xFF\xFF"s, "\xFF\xFF\xFF\xFFzz"s}) {
    write("payload/firmware.bin", code);
    EXPECT_THAT(problems(), IsEmpty()) << code;
  }
}

TEST_F(PackageCheck, ALibraryInPlaceOfTheExecutableIsFound) {
  addLibrary("whole.so", "nvmepcissd");
  EXPECT_THAT(problems(), Contains("nvmepcissd: the executable is a library or an object file"));
}

/// The C++ library needs it, whatever the executable itself needs.
TEST_F(PackageCheck, ALibraryThatTheExecutableCannotLoadIsFound) {
  write("lib/libm.so.6", "not a library");
  setenv("LD_LIBRARY_PATH", (folder() / "lib").c_str(), 1);
  const std::vector<std::string> found = problems();
  unsetenv("LD_LIBRARY_PATH");
  EXPECT_THAT(found, Contains("nvmepcissd: a library that the program needs is refused: " +
                              (folder() / "lib/libm.so.6").string() + ": file too short"));
}

TEST_F(PackageCheck, ALibraryThatTheExecutableDoesNotFindIsNamed) {
  std::string program = readFile(folder() / "nvmepcissd");
  const std::string needed = "libxml2.so.2";
  program.replace(program.find(needed), needed.size(), "libxml0.so.2");
  write("nvmepcissd", program);
  setMode("nvmepcissd", 0755);
  EXPECT_THAT(problems(),
              Contains("nvmepcissd: the program needs libxml0.so.2, which the loader does not find"));
}

TEST_F(PackageCheck, AnExecutableThatIsALinkIsFound) {
  fs::remove(folder() / "nvmepcissd");
  fs::create_symlink(COMPONENT_EXECUTABLE, folder() / "nvmepcissd");
  EXPECT_THAT(problems(), Contains("nvmepcissd: the executable is a link"));
}

TEST_F(PackageCheck, TheInstallScriptMustBeThereAndExecutable) {
  setMode("fwkitinstall.sh", 0644);
  EXPECT_THAT(problems(), ElementsAre("fwkitinstall.sh: install script is not executable"));
  write("fwkitinstall.sh", "#!/bin/sh\r\nexit 0\r\n");
  setMode("fwkitinstall.sh", 0755);
  EXPECT_THAT(problems(), ElementsAre(HasSubstr("the first line ends in a carriage return")));
  fs::remove(folder() / "fwkitinstall.sh");
  EXPECT_THAT(problems(), ElementsAre("fwkitinstall.sh: install script is missing"));
  fs::create_directory(folder() / "fwkitinstall.sh");
  setMode("fwkitinstall.sh", 0755);
  EXPECT_THAT(problems(), ElementsAre("fwkitinstall.sh: install script is not a regular file"));
}

TEST_F(PackageCheck, TheInterpreterOfTheInstallScriptIsLookedForHere) {
  const auto writeScript = [this](const std::string& firstLine) {
    write("fwkitinstall.sh", firstLine + "\nexit 0\n");
    setMode("fwkitinstall.sh", 0755);
  };
  writeScript("#! /no/such/interp -e");
  EXPECT_THAT(problems(),
              ElementsAre("fwkitinstall.sh: the interpreter /no/such/interp cannot be run: No such file or "
                          "directory"));
  for (const char* const line : {"#!/bin/sh -e", "#! /bin/sh", "#!", "# no interpreter", ""}) {
    writeScript(line);
    EXPECT_THAT(problems(), IsEmpty()) << line;
  }
}

/// As root, chmod of a link to a device would change the device for the whole machine.
TEST_F(PackageCheck, NoModeIsToBeChangedThroughALink) {
  fs::remove(folder() / "payload" / "firmware.bin");
  fs::create_symlink("/dev/null", folder() / "payload" / "firmware.bin");
  EXPECT_THAT(problems(), Contains("payload/firmware.bin: may be written by everybody"));
  for (const tool::Finding& finding : tool::checkPackage(folder())) {
    EXPECT_THAT(finding.remedy, testing::Not(HasSubstr("chmod"))) << finding.problem;
  }
  setMode(".", 0777);
  EXPECT_EQ(tool::checkPackage(folder()).at(1).remedy, "chmod go-w " + folder().string());
}

// Promise: check-reports-the-marker
TEST_F(PackageCheck, TheMarkerFileIsNotToBeShipped) {
  write("enabledebug.txt", "");
  EXPECT_THAT(problems(), ElementsAre("enabledebug.txt: marker file for the debug log was left in place"));
}

/// Opening a pipe waits for somebody at its other end.
TEST_F(PackageCheck, PipesAreNotOpened) {
  for (const char* const name : {"package.xml", "libnvme.so", "fwkitinstall.sh", "enabledebug.txt"}) {
    fs::remove(folder() / name);
    ASSERT_EQ(mkfifo((folder() / name).c_str(), 0644), 0) << name;
  }
  EXPECT_THAT(problems(), ElementsAre("package.xml: descriptor is not a regular file",
                                      "libnvme.so: drive library is a pipe",
                                      "fwkitinstall.sh: install script is not a regular file",
                                      "enabledebug.txt: marker file for the debug log was left in place"));
}

TEST_F(PackageCheck, WhatOthersMayWriteIsFound) {
  setMode("payload/firmware.bin", 0666);
  setMode("libnvme.so", 0664);
  setMode(".", 0777);
  EXPECT_THAT(problems(),
              ElementsAre(".: may be written by everybody", "libnvme.so: may be written by its group",
                          "payload/firmware.bin: may be written by everybody"));
}

TEST_F(PackageCheck, ThePayloadIsLookedAtThroughLinksAndOtherLinksAreNotFollowed) {
  const fs::path elsewhere = m_scratch.path() / "elsewhere";
  fs::rename(folder() / "payload", elsewhere);
  ASSERT_EQ(chmod((elsewhere / "firmware.bin").c_str(), 0666), 0);
  fs::create_directory_symlink(elsewhere, folder() / "payload");
  fs::create_directory_symlink(elsewhere, folder() / "more");
  fs::create_directory_symlink("..", folder() / "round");
  fs::create_symlink("nowhere", folder() / "dangling");
  EXPECT_THAT(problems(), ElementsAre(HasSubstr("dangling: the link leads nowhere"),
                                      HasSubstr("more: the link leads out of the folder"),
                                      HasSubstr("payload: the link leads out of the folder"),
                                      HasSubstr("round: the link leads out of the folder"),
                                      "payload/firmware.bin: may be written by everybody"));
}

// Promise: check-reports-odd-paths
TEST_F(PackageCheck, AFolderThatTheShellWouldTakeApartIsFound) {
  const fs::path renamed = m_scratch.path() / "my component";
  fs::rename(folder(), renamed);
  EXPECT_THAT(problemsOf(tool::checkPackage(renamed)),
              ElementsAre(HasSubstr("the folder's path holds the character ' '")));
}

}  // namespace
