// The install script of the hardware-access library: when it runs, from which folder, and what its failure
// does. There is no library beside the staged script unless a test puts one there.

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

struct FailingCase {
  const char* name;
  std::function<void(ComponentFolder&)> spoil;
  std::vector<std::string> scriptCalls;  ///< of one run
};

class FailingInstall : public testing::TestWithParam<FailingCase> {
 protected:
  FailingInstall() {
    component.setDrives({drive(1)});
    GetParam().spoil(component);
  }
  ComponentFolder component;
};

// Promise: inventory-without-drives-is-0, no-drives-without-moxi
TEST_P(FailingInstall, GivesAnEmptyInventoryAndUninstallsNothing) {
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({}), ""}));
  EXPECT_EQ(component.installCalls(), GetParam().scriptCalls);
  EXPECT_THAT(component.driveCalls(), IsEmpty());
}

// Promise: no-drives-without-moxi
TEST_P(FailingInstall, FailsTheUpdate) {
  EXPECT_EQ(component.run({"-u"}), (Outcome{1, updateDocument({}), ""}));
  EXPECT_EQ(component.installCalls(), GetParam().scriptCalls);
  EXPECT_THAT(component.driveCalls(), IsEmpty());
}

namespace {

FailingCase resultCase(const char* name, const char* result) {
  return {name,
          [result](ComponentFolder& component) {
            component.settings.environment["FWKIT_INSTALL_RESULT"] = result;
          },
          {"install"}};
}

FailingCase scriptCase(const char* name, const char* text) {
  return {name, [text](ComponentFolder& component) { writeFile(component / "fwkitinstall.sh", text); }, {}};
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(InstallScript, FailingInstall,
                         testing::Values(resultCase("WithStatus1", "1"), resultCase("WithStatus255", "255"),
                                         scriptCase("KilledByASignal", "#!/bin/sh\nkill -KILL $$\n"),
                                         scriptCase("WithoutItsInterpreter", "#!/missing/interpreter\n"),
                                         FailingCase{"Missing",
                                                     [](ComponentFolder& component) {
                                                       fs::remove(component / "fwkitinstall.sh");
                                                     },
                                                     {}},
                                         FailingCase{"NotExecutable",
                                                     [](ComponentFolder& component) {
                                                       constexpr auto kExecute = fs::perms::owner_exec |
                                                                                 fs::perms::group_exec |
                                                                                 fs::perms::others_exec;
                                                       fs::permissions(component / "fwkitinstall.sh",
                                                                       kExecute, fs::perm_options::remove);
                                                     },
                                                     {}}),
                         kByName);

class InstallScript : public testing::Test {
 protected:
  InstallScript() { component.setDrives({drive(1)}); }

  /// Makes every script record its calls in a file beside it.
  void noteBesideTheScripts() { component.settings.environment.erase("FWKIT_LOG"); }
  static std::vector<std::string> callsOfScriptIn(const fs::path& folder) {
    return linesOf(folder / "fwkitinstall.log");
  }

  /// Gives the script a library to install where the loader finds it.
  void letInstall(const fs::path& workingFolder) {
    copyFromSimulator("libkvrpm.so", workingFolder / "libkvrpm.so");
    component.settings.environment["FWKIT_INSTALL_DIR"] = component.loaderFolder();
  }

  std::vector<std::string> log() const {
    return messages(readFile(component.settings.workingFolder / "debug.log"));
  }

  ComponentFolder component;
};

TEST_F(InstallScript, FailureLeavesThisLog) {
  component.settings.environment["FWKIT_INSTALL_RESULT"] = "3";
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));
  expectLog("install-failure", readFile(component / "debug.log"), component.path());
}

TEST_F(InstallScript, FailingToUninstallIsOnlyLogged) {
  component.settings.environment["FWKIT_UNINSTALL_RESULT"] = "1";
  EXPECT_EQ(component.run({"-i", "-d"}), (Outcome{0, inventoryDocument({listed({})}), ""}));
  EXPECT_THAT(component.installCalls(), ElementsAre("install", "uninstall"));
  EXPECT_THAT(log(), Contains("ERROR: Uninstalling MOXI is failed."));
}

// Promise: install-script-place
TEST_F(InstallScript, InventoryRunsTheOneInTheWorkingFolder) {
  const fs::path work = component.moveWorkingFolder();
  copyFromSimulator("fwkitinstall.sh", component / "fwkitinstall.sh");
  noteBesideTheScripts();
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({listed({})}), ""}));
  EXPECT_THAT(callsOfScriptIn(work), ElementsAre("install", "uninstall"));
  EXPECT_THAT(callsOfScriptIn(component.path()), IsEmpty());
}

// Promise: path-is-not-quoted
TEST_F(InstallScript, IsNotFoundUnderAPathWithABlank) {
  const fs::path work = component.moveWorkingFolder();
  component.settings.workingFolder = component.folderBeside("with blank");
  fs::remove(component.settings.workingFolder);
  fs::rename(work, component.settings.workingFolder);
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({}), ""}));
  EXPECT_THAT(component.installCalls(), IsEmpty());
}

// Promise: other-output-mixes
TEST_F(InstallScript, MixesWhatItPrintsWithTheDocument) {
  writeFile(component / "fwkitinstall.sh", "#!/bin/sh\necho \"$1\"\n");
  EXPECT_EQ(component.run({"-i"}),
            (Outcome{0, "install\nuninstall\n" + inventoryDocument({listed({})}), ""}));
}

// Promise: update-leaves-moxi
TEST_F(InstallScript, InventoryRemovesWhatItInstalled) {
  const fs::path work = component.moveWorkingFolder();
  letInstall(work);
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({listed({})}), ""}));
  EXPECT_THAT(component.installCalls(), ElementsAre("install", "uninstall"));
  EXPECT_THAT(ComponentFolder::namesIn(component.loaderFolder()), IsEmpty());
}

// Promise: update-leaves-moxi
TEST_F(InstallScript, UpdateLeavesInstalledWhatItsSecondInitialisationFinds) {
  const fs::path work = component.moveWorkingFolder();
  letInstall(work);
  EXPECT_EQ(component.run({"-u"}), (Outcome{0, updateDocument({updated({})}), ""}));
  EXPECT_THAT(component.installCalls(), ElementsAre("install"));
  EXPECT_THAT(ComponentFolder::namesIn(component.loaderFolder()), ElementsAre("libkvrpm.so"));
}

TEST_F(InstallScript, UpdateAfterInventoryInstallsAgain) {
  const fs::path work = component.moveWorkingFolder();
  letInstall(work);
  component.settings.mayLeak = true;  // both commands: the first list's records are given up by design
  EXPECT_EQ(component.run({"-i", "-u"}).exitStatus, 0);
  EXPECT_THAT(component.installCalls(), ElementsAre("install", "uninstall", "install"));
  EXPECT_THAT(ComponentFolder::namesIn(component.loaderFolder()), ElementsAre("libkvrpm.so"));
}

struct PresentCase {
  const char* name;
  const char* library;
};

class PresentLibrary : public InstallScript, public testing::WithParamInterface<PresentCase> {};

// Promise: present-moxi-stays
TEST_P(PresentLibrary, IsLeftAloneAndTheScriptIsNotRun) {
  copyFromSimulator("libkvrpm.so", component.loaderFolder() / GetParam().library);
  component.settings.environment["FWKIT_INSTALL_RESULT"] = "1";
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({listed({})}), ""}));
  EXPECT_EQ(component.run({"-u"}), (Outcome{0, updateDocument({updated({})}), ""}));
  EXPECT_THAT(component.installCalls(), IsEmpty());
  EXPECT_THAT(ComponentFolder::namesIn(component.loaderFolder()), ElementsAre(GetParam().library));
}

INSTANTIATE_TEST_SUITE_P(InstallScript, PresentLibrary,
                         testing::Values(PresentCase{"UnderItsFirstName", "libkvrpm.so"},
                                         PresentCase{"UnderItsSecondName", "libkvrpm64.so"}),
                         kByName);

// Promise: uninstall-beside-the-executable
TEST_F(InstallScript, UpdateWithRollbackUninstallsFromTheExecutablesFolder) {
  const fs::path work = component.moveWorkingFolder();
  copyFromSimulator("fwkitinstall.sh", component / "fwkitinstall.sh");
  noteBesideTheScripts();
  EXPECT_EQ(component.run({"-u"}), (Outcome{0, updateDocument({updated({})}), ""}));
  EXPECT_THAT(callsOfScriptIn(work), ElementsAre("install", "install"));
  EXPECT_THAT(callsOfScriptIn(component.path()), ElementsAre("uninstall"));
}

// Promise: uninstall-beside-the-executable
TEST_F(InstallScript, UpdateWithRollbackMissesTheOneInTheFirstWorkingFolder) {
  const fs::path work = component.moveWorkingFolder();
  noteBesideTheScripts();
  EXPECT_EQ(component.run({"-u", "-d"}), (Outcome{0, updateDocument({updated({})}), ""}));
  EXPECT_THAT(callsOfScriptIn(work), ElementsAre("install", "install"));
  EXPECT_THAT(log(), Contains("ERROR: Uninstalling MOXI is failed."));
}

TEST_F(InstallScript, UpdateWithoutRollbackUninstallsFromTheWorkingFolder) {
  const fs::path work = component.moveWorkingFolder();
  component.setDrives({drive(1, {{"updateResult", 1}})});
  noteBesideTheScripts();
  EXPECT_EQ(component.run({"-u", "-d"}), (Outcome{0, updateDocument({failed(kUpdateFailed)}), ""}));
  EXPECT_THAT(callsOfScriptIn(work), ElementsAre("install", "install", "uninstall"));
  EXPECT_THAT(log(), Not(Contains("ERROR: Uninstalling MOXI is failed.")));
}
