// The stand-in of the hardware-access library's install script.

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "SimulatorTest.h"

namespace fs = std::filesystem;

class StagedInstallScript : public testing::Test {
 protected:
  StagedInstallScript() {
    fs::copy_file(SIMULATOR_FOLDER "/fwkitinstall.sh", "fwkitinstall.sh");
    writeFile("libkvrpm.so", "library");
    fs::create_directory("installed");
  }

  /// Runs the script from another folder, and returns its exit status.
  int run(const std::string& arguments, const std::string& variables = "") const {
    const std::string command = "cd / && env " + variables + " '" + folder.path().string() +
                                "/fwkitinstall.sh' " + arguments + " >'" + (folder / "output").string() +
                                "' 2>'" + (folder / "errors").string() + "'";
    const int status = std::system(command.c_str());
    EXPECT_EQ(readFile("output"), "");
    return WEXITSTATUS(status);
  }
  std::string installFolder() const { return "FWKIT_INSTALL_DIR='" + (folder / "installed").string() + "' "; }

  WorkingFolder folder;
};

TEST_F(StagedInstallScript, NotesWhatItIsAskedBesideItself) {
  EXPECT_EQ(run("install"), 0);
  EXPECT_EQ(run("uninstall"), 0);
  EXPECT_EQ(readFile("fwkitinstall.log"), "install\nuninstall\n");
  EXPECT_TRUE(fs::is_empty("installed"));
}

TEST_F(StagedInstallScript, NotesItInAFileOfTheEnvironment) {
  EXPECT_EQ(run("install", "FWKIT_LOG='" + (folder / "log").string() + "'"), 0);
  EXPECT_EQ(readFile("log"), "install\n");
  EXPECT_FALSE(fs::exists("fwkitinstall.log"));
}

TEST_F(StagedInstallScript, ALogThatCannotBeWrittenChangesNothing) {
  EXPECT_EQ(run("install", installFolder() + "FWKIT_LOG=/none/log"), 0);
  EXPECT_TRUE(fs::exists("installed/libkvrpm.so"));
  EXPECT_EQ(readFile("errors"), "");
}

TEST_F(StagedInstallScript, EndsWithTheStatusesItIsTold) {
  EXPECT_EQ(run("install", installFolder() + "FWKIT_INSTALL_RESULT=3 FWKIT_UNINSTALL_RESULT=4"), 3);
  EXPECT_TRUE(fs::is_empty("installed"));
  writeFile("installed/libkvrpm.so", "old");
  EXPECT_EQ(run("uninstall", installFolder() + "FWKIT_INSTALL_RESULT=3 FWKIT_UNINSTALL_RESULT=4"), 4);
  EXPECT_TRUE(fs::exists("installed/libkvrpm.so"));
  EXPECT_EQ(readFile("fwkitinstall.log"), "install\nuninstall\n");
}

TEST_F(StagedInstallScript, InstallsAndUninstallsTheLibrary) {
  EXPECT_EQ(run("install", installFolder()), 0);
  EXPECT_EQ(readFile("installed/libkvrpm.so"), "library");
  EXPECT_EQ(std::distance(fs::directory_iterator("installed"), {}), 1);
  EXPECT_EQ(run("uninstall", installFolder()), 0);
  EXPECT_TRUE(fs::is_empty("installed"));
  EXPECT_EQ(run("uninstall", installFolder()), 0);
}

TEST_F(StagedInstallScript, FindsTheLibraryInItsSupportFolder) {
  writeFile("support/libkvrpm.so", "support");
  fs::remove("libkvrpm.so");
  EXPECT_EQ(run("install", installFolder()), 0);
  EXPECT_EQ(readFile("installed/libkvrpm.so"), "support");
}

TEST_F(StagedInstallScript, FailsWhereThereIsNoLibraryOrNoFolder) {
  fs::remove_all("installed");
  EXPECT_EQ(run("install", installFolder()), 1);
  fs::create_directory("installed");
  fs::remove("libkvrpm.so");
  EXPECT_EQ(run("install", installFolder()), 1);
  EXPECT_TRUE(fs::is_empty("installed"));
}

TEST_F(StagedInstallScript, RefusesAnythingElse) {
  for (const char* const arguments : {"", "reinstall", "install now", "''", "-h"}) {
    EXPECT_EQ(run(arguments), 2) << arguments;
    EXPECT_EQ(readFile("errors"), "usage: " + (folder / "fwkitinstall.sh").string() + " install|uninstall\n");
  }
  EXPECT_FALSE(fs::exists("fwkitinstall.log"));
}
