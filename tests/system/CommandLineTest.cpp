// The command line: exit status, standard output, and which files a run writes.

#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

namespace fs = std::filesystem;
using testing::IsEmpty;
using Arguments = std::vector<std::string>;

namespace {

/// The files that a run has added to the component folder.
class AddedFiles {
 public:
  explicit AddedFiles(const ComponentFolder& component)
      : m_folder(component.path()), m_before(ComponentFolder::namesIn(m_folder)) {}

  std::vector<std::string> names() const {
    const std::vector<std::string> after = ComponentFolder::namesIn(m_folder);
    std::vector<std::string> added;
    std::set_difference(after.begin(), after.end(), m_before.begin(), m_before.end(),
                        std::back_inserter(added));
    return added;
  }

 private:
  fs::path m_folder;
  std::vector<std::string> m_before;
};

}  // namespace

struct RefusedCase {
  const char* name;
  Arguments arguments;
};

class RefusedCommandLine : public testing::TestWithParam<RefusedCase> {};

// Promise: usage-text-is-wrong, status-wrong-usage
TEST_P(RefusedCommandLine, PrintsUsageFailsAndTouchesNothing) {
  ComponentFolder component;
  const AddedFiles added(component);
  EXPECT_EQ(component.run(GetParam().arguments), (Outcome{1, kUsage, ""}));
  EXPECT_THAT(added.names(), IsEmpty());
  EXPECT_THAT(component.driveCalls(), IsEmpty());
  EXPECT_THAT(component.installCalls(), IsEmpty());
}

namespace {

const RefusedCase kRefused[] = {
    {"NoArguments", {}},
    {"EmptyWord", {""}},
    {"Word", {"i"}},
    {"DashAlone", {"-"}},
    {"TwoDashesAlone", {"--"}},
    {"UpperCase", {"-I"}},
    {"DoubledDash", {"--i"}},
    {"DoubledLetter", {"-ii"}},
    {"TwoLetters", {"-iu"}},
    {"TrailingBlank", {"-i "}},
    {"LongHelp", {"-help"}},
    {"LongDebug", {"-debug"}},
    {"ImageFolder", {"-s"}},
    {"OutputWithoutName", {"-o"}},
    {"InventoryAndOutputWithoutName", {"-i", "-o"}},
    {"UpdateAndOutputWithoutName", {"-u", "-o"}},
    {"InventoryAndWord", {"-i", "word"}},
    {"UpdateAndImageFolder", {"-u", "-s", "folder"}},
    {"InventoryAndLongDebug", {"-i", "-debug"}},
    {"LogAndLongDebug", {"-d", "-debug"}},
    {"NamedLogAndWord", {"-d", "name", "word"}},
    {"SecondOutputWithoutName", {"-o", "-i", "-o"}},
    {"UnknownBeforeHelp", {"-i", "-u", "-x", "-h"}},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(CommandLine, RefusedCommandLine, testing::ValuesIn(kRefused), kByName);

struct AcceptedCase {
  const char* name;
  Arguments arguments;
  std::string standardOutput;
  std::vector<std::string> filesAdded;
};

class AcceptedCommandLine : public testing::TestWithParam<AcceptedCase> {};

// Promise: usage-text-is-wrong, status-nothing-to-do
TEST_P(AcceptedCommandLine, PrintsAndWritesWhatItAsksFor) {
  ComponentFolder component;
  component.setDrives({drive(1)});
  const AddedFiles added(component);
  EXPECT_EQ(component.run(GetParam().arguments), (Outcome{0, GetParam().standardOutput, ""}));
  EXPECT_EQ(added.names(), GetParam().filesAdded);
}

namespace {

const std::string kInventory = inventoryDocument({listed({})});
const std::string kUpdate = updateDocument({updated({})});

const AcceptedCase kAccepted[] = {
    {"HelpAlone", {"-h"}, kUsage, {}},
    {"HelpHidesWhatFollows", {"-h", "nonsense", "-i"}, kUsage, {}},
    {"ForceAlone", {"-f"}, "", {}},
    {"OutputNameAlone", {"-o", "out.xml"}, "", {}},
    {"LogAlone", {"-d"}, "", {"debug.log"}},
    {"NamedLogAlone", {"-d", "trace"}, "", {"trace"}},
    {"Inventory", {"-i"}, kInventory, {}},
    {"InventoryTwiceRunsOnce", {"-i", "-i"}, kInventory, {}},
    {"InventoryWithForce", {"-f", "-i"}, kInventory, {}},
    {"InventoryToFile", {"-i", "-o", "out.xml"}, "", {"out.xml"}},
    {"OutputNameFirst", {"-o", "out.xml", "-i"}, "", {"out.xml"}},
    {"OutputNameLikeAnOption", {"-o", "-i", "-i"}, "", {"-i"}},
    {"LastOutputNameCounts", {"-o", "first", "-i", "-o", "second"}, "", {"second"}},
    {"EmptyOutputName", {"-i", "-o", ""}, kInventory, {}},
    {"HelpAfterInventoryRunsIt", {"-i", "-h", "nonsense"}, kUsage + kInventory, {}},
    {"HelpAfterUpdateRunsIt", {"-u", "-h", "nonsense"}, kUsage + kUpdate, {}},
    {"LogLast", {"-i", "-d"}, kInventory, {"debug.log"}},
    {"LogBeforeOption", {"-d", "-i"}, kInventory, {"debug.log"}},
    {"NamedLogBeforeOption", {"-d", "trace", "-i"}, kInventory, {"trace"}},
    {"LogTwice", {"-d", "-d", "-i"}, kInventory, {"debug.log"}},
    {"LastLogNameCounts", {"-d", "first", "-d", "second", "-i"}, kInventory, {"second"}},
    {"EmptyLogNameOpensNone", {"-d", "", "-i"}, kInventory, {}},
    {"Update", {"-u"}, kUpdate, {}},
    {"UpdateWithForce", {"-u", "-f"}, kUpdate, {}},
    {"UpdateToFile", {"-u", "-o", "out.xml"}, "", {"out.xml"}},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(CommandLine, AcceptedCommandLine, testing::ValuesIn(kAccepted), kByName);

struct BothCase {
  const char* name;
  Arguments arguments;
};

/// Both commands in one process. By design, the second list replaces the first one without freeing its
/// records, so the leak sanitizer is off.
class BothCommands : public testing::TestWithParam<BothCase> {
 protected:
  BothCommands() { component.settings.mayLeak = true; }
  ComponentFolder component;
};

TEST_P(BothCommands, RunTheInventoryFirst) {
  component.setDrives({drive(1)});
  EXPECT_EQ(component.run(GetParam().arguments), (Outcome{0, kInventory + kUpdate, ""}));
  EXPECT_THAT(component.flashCalls(), testing::SizeIs(1));
}

// Promise: other-output-mixes
TEST_P(BothCommands, LeaveTheUpdateDocumentInOneFile) {
  component.setDrives({drive(1)});
  Arguments arguments = GetParam().arguments;
  arguments.insert(arguments.end(), {"-o", component / "out.xml"});
  EXPECT_EQ(component.run(arguments), (Outcome{0, "", ""}));
  EXPECT_EQ(readFile(component / "out.xml"), kUpdate);
}

TEST_P(BothCommands, WriteARelativeNameInTwoFoldersOnceRollbackRan) {
  const fs::path work = component.moveWorkingFolder();
  component.setDrives({drive(1)});
  Arguments arguments = GetParam().arguments;
  arguments.insert(arguments.end(), {"-o", "out.xml"});
  EXPECT_EQ(component.run(arguments), (Outcome{0, "", ""}));
  EXPECT_EQ(readFile(work / "out.xml"), kInventory);
  EXPECT_EQ(readFile(component / "out.xml"), kUpdate);
}

TEST_P(BothCommands, EndWithTheUpdatesStatus) {
  component.settings.mayLeak = false;  // without drives there is nothing to give up
  EXPECT_EQ(component.run(GetParam().arguments),
            (Outcome{1, inventoryDocument({}) + updateDocument({}), ""}));
}

INSTANTIATE_TEST_SUITE_P(CommandLine, BothCommands,
                         testing::Values(BothCase{"InventoryThenUpdate", {"-i", "-u"}},
                                         BothCase{"UpdateThenInventory", {"-u", "-i"}}),
                         kByName);
