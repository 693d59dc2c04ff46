#include "PackageCheck.h"

#include <elf.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "TestSupport.h"

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

const fs::path kLibraries = LIBRARIES_FOLDER;

/// A component folder without findings, to be broken in one place.
class PackageCheck : public testing::Test {
 protected:
  PackageCheck() {
    writeFile(folder() / "package.xml",
              "<SoftwareComponent><SupportedDevices><Device componentID=\"1\">"
              "<PCIInfo deviceID=\"a801\" subDeviceID=\"1001\" vendorID=\"f101\" subVendorID=\"f1a0\"/>"
              "<Display>One</Display></Device></SupportedDevices></SoftwareComponent>");
    writeFile(folder() / "payload" / "firmware.bin", "firmware");
    writeFile(folder() / "fwkitinstall.sh", "#!/bin/sh\nexit 0\n");
    useLibrary("whole.so");
    setMode("fwkitinstall.sh", 0755);
    for (const char* const file : {"package.xml", "payload/firmware.bin", "libnvme.so"}) setMode(file, 0644);
    for (const char* const directory : {".", "payload"}) setMode(directory, 0755);
  }

  fs::path folder() const { return m_scratch.path() / "component"; }
  void setMode(const std::string& name, mode_t mode) {
    ASSERT_EQ(chmod((folder() / name).c_str(), mode), 0) << name;
  }
  void useLibrary(const std::string& name) {
    fs::copy_file(kLibraries / name, folder() / "libnvme.so", fs::copy_options::overwrite_existing);
  }
  void write(const std::string& name, const std::string& content) {
    writeFile(folder() / name, content);
    setMode(name, 0644);
  }

  /// What the one finding says of the run.
  std::string atRunTime() const {
    const tool::Findings findings = tool::checkPackage(folder());
    EXPECT_EQ(findings.size(), 1U);
    return findings.empty() ? "" : findings.front().atRunTime;
  }

  /// "file: problem" of every finding, the file as seen from the folder.
  std::vector<std::string> problems() const {
    std::vector<std::string> list;
    for (const tool::Finding& finding : tool::checkPackage(folder())) {
      list.push_back(finding.file.lexically_relative(folder()).string() + ": " + finding.problem);
    }
    return list;
  }

  ScratchFolder m_scratch;
};

TEST_F(PackageCheck, AWholePackageHasNoFindings) {
  EXPECT_THAT(problems(), IsEmpty());
}

TEST_F(PackageCheck, DescriptorFindingsAreAmongThem) {
  fs::remove(folder() / "package.xml");
  EXPECT_THAT(problems(), ElementsAre("package.xml: descriptor cannot be read: No such file or directory"));
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
  EXPECT_THAT(problems(), ElementsAre("payload/link: payload is not a regular file"));
  fs::remove(folder() / "payload" / "link");
  write("payload/.hidden", "");
  EXPECT_THAT(problems(), ElementsAre("payload/.hidden: payload is empty"));
  fs::remove_all(folder() / "payload");
  EXPECT_THAT(problems(), ElementsAre("payload: payload folder is missing"));
  write("payload", "a file");
  EXPECT_THAT(problems(), ElementsAre("payload: payload is not a folder"));
}

TEST_F(PackageCheck, ALibraryThatTheLoaderRefusesIsFound) {
  const fs::path library = folder() / "libnvme.so";
  const std::string bytes = readFile(library);
  fs::remove(library);
  EXPECT_THAT(problems(), ElementsAre("libnvme.so: drive library is missing"));
  write("libnvme.so", "not a library");
  EXPECT_THAT(problems(), ElementsAre("libnvme.so: drive library cannot be loaded: it is not an ELF file"));
  write("libnvme.so", bytes.substr(0, bytes.size() / 3));
  EXPECT_THAT(problems(),
              ElementsAre(StartsWith("libnvme.so: drive library cannot be loaded: it is cut off")));
  std::string foreign = bytes;
  foreign[18] = static_cast<char>(0xB7);  // the machine
  write("libnvme.so", foreign);
  EXPECT_THAT(problems(), ElementsAre(HasSubstr("it is for 64-bit AArch64, while this machine is")));
  write("libnvme.so", readFile(COMPONENT_EXECUTABLE));
  EXPECT_THAT(problems(),
              ElementsAre("libnvme.so: drive library cannot be loaded: it is an executable, not a library"));
}

/// The loader passes over libraries of other machines and stops at those that it cannot load.
TEST_F(PackageCheck, AnotherLibraryIsOpenedOnlyInPlaceOfOneThatIsPassedOver) {
  const std::string bytes = readFile(folder() / "libnvme.so");
  const auto outcomeWith = [&](std::size_t place, char value) {
    std::string changed = bytes;
    changed[place] = value;
    write("libnvme.so", changed);
    return atRunTime();
  };
  constexpr std::size_t kMachine = 18;
  EXPECT_THAT(outcomeWith(EI_CLASS, ELFCLASS32),
              StartsWith("a libnvme.so on the loader's search path is opened"));
  EXPECT_THAT(outcomeWith(kMachine, '\xB7'),
              StartsWith("a libnvme.so on the loader's search path is opened"));
  constexpr std::size_t kFatal[] = {EI_MAG1, EI_DATA, EI_VERSION, EI_OSABI};
  for (const std::size_t place : kFatal)
    EXPECT_THAT(outcomeWith(place, '\x02'), StartsWith("the loader looks no further than here")) << place;
  useLibrary("needy.so");
  EXPECT_THAT(atRunTime(), StartsWith("the loader looks no further than here"));
  fs::remove(folder() / "libnvme.so");
  EXPECT_THAT(atRunTime(), StartsWith("a libnvme.so on the loader's search path is opened"));
}

TEST_F(PackageCheck, ALibraryForANewerSystemIsFound) {
  useLibrary("versioned.so");
  fs::copy_file(kLibraries / "newer" / "libversioned_helper.so", folder() / "libversioned_helper.so");
  setMode("libversioned_helper.so", 0644);
  EXPECT_THAT(problems(), IsEmpty());
  fs::copy_file(kLibraries / "older" / "libversioned_helper.so", folder() / "libversioned_helper.so",
                fs::copy_options::overwrite_existing);
  EXPECT_THAT(problems(),
              ElementsAre("libnvme.so: drive library cannot be loaded: it was linked for HELPER_2 of "
                          "libversioned_helper.so, which is older here"));
}

TEST_F(PackageCheck, TheLibraryIsMeasuredAgainstTheExecutableInTheFolder) {
  std::string executable = readFile(COMPONENT_EXECUTABLE);
  executable[18] = static_cast<char>(0xB7);
  write("nvmepcissd", executable);
  EXPECT_THAT(problems(), ElementsAre(HasSubstr("while nvmepcissd is 64-bit AArch64")));
}

TEST_F(PackageCheck, EntryPointsAreMissed) {
  useLibrary("without_info.so");
  EXPECT_THAT(problems(), ElementsAre("libnvme.so: drive library lacks the entry point NVMEGetDriveInfo"));
  useLibrary("data_update.so");
  EXPECT_THAT(problems(),
              ElementsAre("libnvme.so: the drive library's NVMEUpdateFirmware is not a function"));
}

TEST_F(PackageCheck, WhatTheLibraryNeedsMustBeFoundToo) {
  useLibrary("unbound.so");
  EXPECT_THAT(problems(),
              ElementsAre(HasSubstr("helpDriveLibrary, which it uses, is in none of the libraries")));
  useLibrary("needy.so");
  EXPECT_THAT(problems(),
              ElementsAre(HasSubstr("libtool_test_helper.so, which it needs, is not on the loader's")));
  ASSERT_EQ(setenv("LD_LIBRARY_PATH", LIBRARIES_FOLDER, 1), 0);
  EXPECT_THAT(problems(), IsEmpty());
  unsetenv("LD_LIBRARY_PATH");
}

TEST_F(PackageCheck, AnExecutableThatIsALinkIsFound) {
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
              ElementsAre("fwkitinstall.sh: the interpreter /no/such/interp cannot be run on this "
                          "machine: No such file or directory"));
  for (const char* const line : {"#!/bin/sh -e", "#! /bin/sh", "#!", "# no interpreter", ""}) {
    writeScript(line);
    EXPECT_THAT(problems(), IsEmpty()) << line;
  }
}

TEST_F(PackageCheck, ALibraryThatIsAPipeHangsTheRun) {
  fs::remove(folder() / "libnvme.so");
  ASSERT_EQ(mkfifo((folder() / "libnvme.so").c_str(), 0644), 0);
  EXPECT_THAT(atRunTime(), HasSubstr("the run hangs"));
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
                                      "libnvme.so: drive library cannot be loaded: it is a pipe",
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
  EXPECT_THAT(problems(), ElementsAre("payload/firmware.bin: may be written by everybody"));
}

TEST_F(PackageCheck, AFolderThatTheShellWouldTakeApartIsFound) {
  const fs::path renamed = m_scratch.path() / "my component";
  fs::rename(folder(), renamed);
  const tool::Findings findings = tool::checkPackage(renamed);
  ASSERT_EQ(findings.size(), 1U);
  EXPECT_EQ(findings[0].problem, "the folder's path holds the character ' '");
}

}  // namespace
