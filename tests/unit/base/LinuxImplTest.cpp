#include "LinuxImpl.h"

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace {

// --- The hardware-access support library.

// The platform's classes have no virtual destructor, and nothing here deletes through them.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The Linux platform with a given set of loadable libraries. It records its calls.
class SupportLibraryHost final : public CLinuxImpl {
 public:
  void* LoadLibrary(const std::string& name) override {
    calls.push_back("load " + name);
    const auto found = loadable.find(name);
    return found == loadable.end() ? nullptr : const_cast<std::string*>(&*found);
  }
  void FreeLibrary(void* handle) override { calls.push_back("free " + *static_cast<std::string*>(handle)); }
  int ExecuteCmd(const std::string& command, bool flag, const long& timeout) override {
    calls.push_back("run " + command);
    EXPECT_FALSE(flag);
    EXPECT_EQ(timeout, 0);
    return status.has_value() ? *status : CLinuxImpl::ExecuteCmd(command, flag, timeout);
  }

  std::set<std::string> loadable;
  std::optional<int> status = 0;  ///< of every command; if empty, commands really run
  std::vector<std::string> calls;
};

#pragma GCC diagnostic pop

class SupportLibrary : public testing::Test {
 protected:
  SupportLibrary() { CLinuxImpl::bMOXIAlreadyInstalled = false; }
  ~SupportLibrary() override { CLinuxImpl::bMOXIAlreadyInstalled = false; }

  std::string runOf(const std::string& word) const {
    return "run " + m_folder.path().string() + "/fwkitinstall.sh " + word;
  }
  void writeInstallScript(const std::string& body) const {
    writeFile("fwkitinstall.sh", "#!/bin/sh\n" + body + "\n");
    fs::permissions("fwkitinstall.sh", fs::perms::owner_all);
  }

  WorkingFolder m_folder;
  SupportLibraryHost m_host;
};

// Promise: moxi-probe
TEST_F(SupportLibrary, IsInstalledWhenEitherNameLoads) {
  const struct {
    std::set<std::string> loadable;
    bool installed;
    std::vector<std::string> calls;
  } kCases[] = {
      {{}, false, {"load libkvrpm.so", "load libkvrpm64.so"}},
      {{"libkvrpm.so"}, true, {"load libkvrpm.so", "free libkvrpm.so"}},
      {{"libkvrpm64.so"}, true, {"load libkvrpm.so", "load libkvrpm64.so", "free libkvrpm64.so"}},
      {{"libkvrpm.so", "libkvrpm64.so"}, true, {"load libkvrpm.so", "free libkvrpm.so"}},
      {{"libnvme.so", "libkvrpm.so.1"}, false, {"load libkvrpm.so", "load libkvrpm64.so"}},
  };
  for (const auto& [loadable, installed, calls] : kCases) {
    SCOPED_TRACE(testing::PrintToString(loadable));
    m_host.loadable = loadable;
    m_host.calls.clear();
    EXPECT_EQ(m_host.isMOXIInstalled(), installed);
    EXPECT_EQ(m_host.calls, calls);
  }
}

TEST_F(SupportLibrary, InstallAndUninstallAreTrueExactlyWhenTheirScriptFails) {
  for (const int status : {0, 1, 2, 9, 127, 256, 512, 32512, 65280, -1}) {
    SCOPED_TRACE(status);
    m_host.status = status;
    m_host.calls.clear();
    EXPECT_EQ(m_host.InstallMoxi(), status != 0);
    EXPECT_EQ(m_host.UninstallMoxi(), status != 0);
    EXPECT_THAT(m_host.calls,
                ElementsAre("load libkvrpm.so", "load libkvrpm64.so", runOf("install"), runOf("uninstall")));
    EXPECT_FALSE(CLinuxImpl::bMOXIAlreadyInstalled);
  }
}

TEST_F(SupportLibrary, ALibraryThatWasThereIsNeitherInstalledNorTakenAway) {
  for (const char* name : {"libkvrpm.so", "libkvrpm64.so"}) {
    SCOPED_TRACE(name);
    m_host.loadable = {name};
    m_host.status = 256;
    EXPECT_FALSE(m_host.InstallMoxi());
    EXPECT_TRUE(CLinuxImpl::bMOXIAlreadyInstalled);
    m_host.calls.clear();
    m_host.loadable.clear();
    EXPECT_FALSE(m_host.UninstallMoxi());
    EXPECT_THAT(m_host.calls, IsEmpty());
  }
}

TEST_F(SupportLibrary, EveryInstallAsksAnewWhetherTheLibraryIsThere) {
  m_host.loadable = {"libkvrpm.so"};
  m_host.InstallMoxi();
  m_host.loadable.clear();
  m_host.calls.clear();
  EXPECT_FALSE(m_host.InstallMoxi());
  EXPECT_FALSE(CLinuxImpl::bMOXIAlreadyInstalled);
  EXPECT_THAT(m_host.calls, ElementsAre("load libkvrpm.so", "load libkvrpm64.so", runOf("install")));
}

TEST_F(SupportLibrary, UninstallWithoutInstallRunsTheScriptUnasked) {
  m_host.loadable = {"libkvrpm.so"};
  EXPECT_FALSE(m_host.UninstallMoxi());
  EXPECT_THAT(m_host.calls, ElementsAre(runOf("uninstall")));
}

TEST_F(SupportLibrary, TheStateIsSharedByAllImplementations) {
  SupportLibraryHost other;
  m_host.loadable = {"libkvrpm.so"};
  m_host.InstallMoxi();
  EXPECT_FALSE(other.UninstallMoxi());
  EXPECT_THAT(other.calls, IsEmpty());
}

TEST_F(SupportLibrary, TheScriptOfTheWorkingFolderRunsWithItsWord) {
  const struct {
    const char* body;
    bool failed;
  } kCases[] = {{"exit 0", false}, {"exit 1", true}, {"exit 255", true}, {"kill -9 $$", true}};
  m_host.status.reset();
  testing::internal::CaptureStderr();  // the shell reports a killed script
  for (const auto& [body, failed] : kCases) {
    SCOPED_TRACE(body);
    fs::remove("words");
    writeInstallScript(std::string("echo \"$0 $*\" >> words\n") + body);
    EXPECT_EQ(m_host.InstallMoxi(), failed);
    EXPECT_EQ(m_host.UninstallMoxi(), failed);
    const std::string script = m_folder / "fwkitinstall.sh";
    EXPECT_EQ(readFile("words"), script + " install\n" + script + " uninstall\n");
  }
  testing::internal::GetCapturedStderr();
}

TEST_F(SupportLibrary, AMissingScriptIsAFailure) {
  m_host.status.reset();
  testing::internal::CaptureStderr();
  EXPECT_TRUE(m_host.InstallMoxi());
  EXPECT_TRUE(m_host.UninstallMoxi());
  EXPECT_NE(testing::internal::GetCapturedStderr(), "") << "the shell's own message";
}

// --- Directories and files.

class LinuxPlatform : public testing::Test {
 protected:
  std::vector<std::string> filesOf(std::string directory) {
    const std::string given = directory;
    std::vector<std::string> files = m_linux.GetFileList(directory);
    EXPECT_EQ(directory, given) << "the name is only read";
    return files;
  }
  /// Makes a folder below the working folder, with a path of `length` bytes, and enters it.
  void enterFolderOfLength(std::size_t length) const {
    std::string path = m_folder.path();
    while (path.size() < length) {
      // Every name has 1 to 200 bytes.
      const std::size_t rest = length - path.size() - 1;
      path += '/';
      path.append(rest <= 200 ? rest : std::min<std::size_t>(200, rest - 2), 'd');
    }
    ASSERT_EQ(path.size(), length);
    fs::create_directories(path);
    fs::current_path(path);
  }
  void enterAndDeleteAFolder() const {
    fs::create_directory("gone");
    fs::current_path("gone");
    fs::remove(m_folder / "gone");
  }

  WorkingFolder m_folder;
  CLinuxImpl m_linux;
};

TEST_F(LinuxPlatform, TheCurrentDirectoryEndsInASlash) {
  EXPECT_EQ(m_linux.getCurrentDirectory(), m_folder.path().string() + "/");
  fs::current_path("/");
  EXPECT_EQ(m_linux.getCurrentDirectory(), "//");
}

TEST_F(LinuxPlatform, ACurrentDirectoryThatIsGoneIsASlashAlone) {
  enterAndDeleteAFolder();
  EXPECT_EQ(m_linux.getCurrentDirectory(), "/");
}

TEST_F(LinuxPlatform, ACurrentDirectoryOf2047BytesIsTheLongest) {
  enterFolderOfLength(2047);
  EXPECT_EQ(m_linux.getCurrentDirectory(), fs::current_path().string() + "/");
  enterFolderOfLength(2048);
  EXPECT_EQ(m_linux.getCurrentDirectory(), "/");
}

TEST_F(LinuxPlatform, TheInstallScriptIsSoughtAtTheRootWhenTheCurrentDirectoryCannotBeTold) {
  SupportLibraryHost host;
  enterAndDeleteAFolder();
  host.UninstallMoxi();
  fs::current_path(m_folder.path());
  enterFolderOfLength(2048);
  host.UninstallMoxi();
  EXPECT_THAT(host.calls, ElementsAre("run /fwkitinstall.sh uninstall", "run /fwkitinstall.sh uninstall"));
}

TEST_F(LinuxPlatform, SettingTheDirectoryIsTrueWhateverBecameOfIt) {
  fs::create_directory("there");
  writeFile("file", "");
  EXPECT_TRUE(m_linux.setCurrentDirectory("there"));
  EXPECT_EQ(fs::current_path(), m_folder / "there");
  for (const std::string& path : {std::string("missing"), std::string("../file"), std::string()}) {
    EXPECT_TRUE(m_linux.setCurrentDirectory(path)) << path;
    EXPECT_EQ(fs::current_path(), m_folder / "there") << path;
  }
  EXPECT_TRUE(m_linux.setCurrentDirectory(m_folder.path()));
  EXPECT_EQ(fs::current_path(), m_folder.path());
}

TEST_F(LinuxPlatform, TheProcessDirectoryIsTheExecutablesOneWithASlash) {
  const LogCapture log;
  EXPECT_EQ(m_linux.getCurrentProcessDirectory(),
            fs::read_symlink("/proc/self/exe").parent_path().string() + "/");
  EXPECT_EQ(log.text(), "");
}

TEST_F(LinuxPlatform, AFolderIsListedWithEverythingInIt) {
  for (const char* name : {"f/firmware.bin", "f/.hidden", "f/..two dots", "f/a b\n\xff", "f/sub/below"}) {
    writeFile(name, "");
  }
  fs::create_symlink("nowhere", "f/dangling");
  const std::string path = m_folder / "f";
  EXPECT_THAT(filesOf(path),
              UnorderedElementsAre(path + "/firmware.bin", path + "/.hidden", path + "/..two dots",
                                   path + "/a b\n\xff", path + "/sub", path + "/dangling"));
}

TEST_F(LinuxPlatform, ListedPathsBeginWithTheFoldersNameAsGiven) {
  writeFile("f/x", "");
  EXPECT_THAT(filesOf("f"), ElementsAre("f/x"));
  EXPECT_THAT(filesOf("f/"), ElementsAre("f//x"));
  EXPECT_THAT(filesOf("./f/../f"), ElementsAre("./f/../f/x"));
  EXPECT_THAT(filesOf("."), ElementsAre("./f"));
  EXPECT_THAT(filesOf(""), ElementsAre("/f")) << "an empty name lists the working folder";
}

TEST_F(LinuxPlatform, WhatCannotBeListedIsEmpty) {
  fs::create_directory("empty");
  writeFile("file", "");
  for (const char* name : {"empty", "missing", "missing/below", "file", "file/below"}) {
    EXPECT_THAT(filesOf(name), IsEmpty()) << name;
  }
}

TEST_F(LinuxPlatform, AFolderOfManyEntriesIsListedWhole) {
  std::vector<std::string> expected;
  // Far more than the directory stream reads at a time.
  for (int number = 100; number < 600; ++number) {
    expected.push_back("many/" + std::string(200, 'n') + std::to_string(number));
    writeFile(expected.back(), "");
  }
  std::vector<std::string> files = filesOf("many");
  std::sort(files.begin(), files.end());
  std::sort(expected.begin(), expected.end());
  EXPECT_EQ(files, expected);
}

TEST_F(LinuxPlatform, ListingAndAskingKeepNothingOpen) {
  const auto openFiles = [] { return std::distance(fs::directory_iterator("/proc/self/fd"), {}); };
  writeFile("f/x", "");
  const auto before = openFiles();
  filesOf("f");
  filesOf("missing");
  EXPECT_TRUE(m_linux.IsFileExits("f/x"));
  EXPECT_TRUE(m_linux.IsFileExistsAbs("f/x"));
  EXPECT_EQ(openFiles(), before);
}

TEST_F(LinuxPlatform, FilesExistWhenTheyOpenForReading) {
  writeFile("file", "content");
  writeFile("folder/.hidden", "");
  fs::create_symlink("file", "link");
  fs::create_symlink("nowhere", "dangling");
  const struct {
    const char* name;
    bool exists;
  } kCases[] = {{"file", true},     {"folder/.hidden", true}, {"link", true},     {"./folder/../file", true},
                {"folder", true},  // a folder opens for reading, too
                {"missing", false}, {"FILE", false},          {"file ", false},   {"file/", false},
                {"file/x", false},  {"missing/file", false},  {"dangling", false}};
  for (const auto& [name, exists] : kCases) {
    EXPECT_EQ(m_linux.IsFileExits(name), exists) << name << " in the working folder";
    EXPECT_EQ(m_linux.IsFileExistsAbs(name), exists) << name << " as it is";
    EXPECT_EQ(m_linux.IsFileExistsAbs(m_folder / name), exists) << name << " by its full path";
  }
  EXPECT_EQ(readFile("file"), "content");
  EXPECT_FALSE(fs::exists("missing"));
}

TEST_F(LinuxPlatform, AFullPathIsTakenAsBelowTheWorkingFolderByTheOneAndAsItIsByTheOther) {
  const std::string name = m_folder.path().filename();  // the root has no file of that name
  writeFile(name, "");
  EXPECT_FALSE(m_linux.IsFileExits(m_folder / name));
  EXPECT_TRUE(m_linux.IsFileExistsAbs(m_folder / name));
  EXPECT_TRUE(m_linux.IsFileExits("/" + name));
  EXPECT_FALSE(m_linux.IsFileExistsAbs("/" + name));
}

TEST_F(LinuxPlatform, AnEmptyNameIsTheWorkingFolderForTheOneAndNothingForTheOther) {
  EXPECT_TRUE(m_linux.IsFileExits(""));
  EXPECT_FALSE(m_linux.IsFileExistsAbs(""));
}

// --- Libraries and commands.

TEST_F(LinuxPlatform, AFunctionOfALoadedLibraryCanBeCalled) {
  void* const library = m_linux.LoadLibrary("libm.so.6");
  ASSERT_NE(library, nullptr);
  void* const function = m_linux.GetProcAddress(library, "floor");
  ASSERT_NE(function, nullptr);
  EXPECT_EQ(reinterpret_cast<double (*)(double)>(function)(2.75), 2.0);
  EXPECT_EQ(m_linux.GetProcAddress(library, "no_such_function"), nullptr);
  EXPECT_EQ(m_linux.GetProcAddress(library, ""), nullptr);
  m_linux.FreeLibrary(library);
}

TEST_F(LinuxPlatform, ALibraryThatIsFreedIsUnloaded) {
  static constexpr char kRarelyLoaded[] = "libanl.so.1";
  const auto isLoaded = [] {
    void* const handle = dlopen(kRarelyLoaded, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
  };
  ASSERT_FALSE(isLoaded());
  void* const library = m_linux.LoadLibrary(kRarelyLoaded);
  EXPECT_TRUE(isLoaded());
  m_linux.FreeLibrary(library);
  EXPECT_FALSE(isLoaded());
}

TEST_F(LinuxPlatform, WhatIsNoLibraryIsANullHandle) {
  writeFile("libtext.so", "not a library");
  for (const std::string& name : {std::string("libno-such-library.so"), std::string("./missing.so"),
                                  std::string("./libtext.so"), std::string(m_folder / "libtext.so")}) {
    EXPECT_EQ(m_linux.LoadLibrary(name), nullptr) << name;
  }
}

TEST_F(LinuxPlatform, ANullHandleHasNoFunctionsAndNeedsNoFreeing) {
  EXPECT_EQ(m_linux.GetProcAddress(nullptr, "malloc"), nullptr) << "not the process's own function";
  m_linux.FreeLibrary(nullptr);
}

TEST_F(LinuxPlatform, ACommandGivesItsWaitStatusWhateverTheFlagAndTheTimeout) {
  const struct {
    const char* command;
    int status;
  } kCases[] = {{"exit 0", 0},           {"true", 0},
                {"exit 1", 0x100},       {"exit 3; true", 0x300},
                {"false", 0x100},        {"exit 255", 0xff00},
                {"kill -9 $$", 9},       {"kill -15 $$", 15},
                {"true | false", 0x100}, {"no-such-command 2> /dev/null", 127 * 0x100}};
  for (const auto& [command, status] : kCases) {
    EXPECT_EQ(m_linux.ExecuteCmd(command, false, 0), status) << command;
    EXPECT_EQ(m_linux.ExecuteCmd(command, true, 1000), status) << command;
    EXPECT_EQ(m_linux.ExecuteCmd(command, true, -1), status) << command;
  }
}

TEST_F(LinuxPlatform, ACommandRunsInTheWorkingFolder) {
  EXPECT_EQ(m_linux.ExecuteCmd("pwd > where; echo \"$((1 + 1))\" >> where", false, 0), 0);
  EXPECT_EQ(readFile("where"), m_folder.path().string() + "\n2\n");
}

TEST_F(LinuxPlatform, ASleepOfNoSecondsLeavesNone) {
  EXPECT_EQ(m_linux.Sleep(0), 0U);
}

}  // namespace
