// The drive library is missing, broken, incomplete, in another place, or returns odd lists.

#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "ComponentFolder.h"
#include "Expected.h"

namespace fs = std::filesystem;
using nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr char kLibrary[] = "libnvme.so";
constexpr char kNotLoaded[] =
    "ERROR: Could not able to load the NVMePCISSD Library using NVMePCISSD_LIBRARY to get handle to library";

/// Puts a broken library on the loader's search path, in front of one that the machine may have.
void hideTheMachinesOwn(const ComponentFolder& component) {
  writeFile(component.loaderFolder() / kLibrary, "no library\n");
}

void useIncomplete(const ComponentFolder& component, const std::string& library) {
  fs::copy_file(fs::path(INCOMPLETE_LIBRARIES) / (library + ".so"), component / kLibrary,
                fs::copy_options::overwrite_existing);
}

}  // namespace

struct UnusableCase {
  const char* name;
  std::function<void(const ComponentFolder&)> spoil;
  const char* error;
};

class UnusableLibrary : public testing::TestWithParam<UnusableCase> {
 protected:
  UnusableLibrary() {
    component.setDrives({drive(1)});
    hideTheMachinesOwn(component);
    fs::remove(component / kLibrary);
    GetParam().spoil(component);
  }

  std::vector<std::string> log() const { return messages(readFile(component / "debug.log")); }

  ComponentFolder component;
};

// Promise: inventory-without-drives-is-0
TEST_P(UnusableLibrary, GivesAnEmptyInventory) {
  EXPECT_EQ(component.run({"-i", "-d"}), (Outcome{0, inventoryDocument({}), ""}));
  EXPECT_THAT(log(), Contains(GetParam().error));
  EXPECT_THAT(log(), Contains("ERROR: Intialization of NVMEPCISDD library failed!"));
  EXPECT_THAT(component.installCalls(), ElementsAre("install", "uninstall"));
}

// Promise: status-update-without-drives
TEST_P(UnusableLibrary, FailsTheUpdate) {
  EXPECT_EQ(component.run({"-u", "-d"}), (Outcome{1, updateDocument({}), ""}));
  EXPECT_THAT(log(), Contains(GetParam().error));
  EXPECT_THAT(log(),
              Contains("ERROR: Creating NVMeAdapter instance and/or NVMeAdapter initiatization failed!"));
  EXPECT_THAT(component.rollbackCalls(), IsEmpty());
  EXPECT_THAT(component.installCalls(), ElementsAre("install", "uninstall"));
}

namespace {

constexpr char kIncomplete[] =
    "ERROR: Could not able to load one/all of function pointer(s) m_fncNVMEDiscoverDrives, "
    "m_fncNVMEGetDriverInfo,m_fncNVMEGetDriveDeviceName, m_fncNVMEGetDriveInfo, m_fncNVMEUpdateFirmware";

UnusableCase incompleteCase(const char* name, const char* library) {
  return {name, [library](const ComponentFolder& component) { useIncomplete(component, library); },
          kIncomplete};
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(
    DriveLibrary, UnusableLibrary,
    testing::Values(
        UnusableCase{"Missing", [](const ComponentFolder&) {}, kNotLoaded},
        UnusableCase{"AText",
                     [](const ComponentFolder& component) { writeFile(component / kLibrary, "text\n"); },
                     kNotLoaded},
        UnusableCase{"Empty", [](const ComponentFolder& component) { writeFile(component / kLibrary, ""); },
                     kNotLoaded},
        UnusableCase{"AFolder",
                     [](const ComponentFolder& component) { fs::create_directory(component / kLibrary); },
                     kNotLoaded},
        incompleteCase("WithoutAnyEntryPoint", "incomplete_none"),
        incompleteCase("WithoutDiscovery", "incomplete_discover"),
        incompleteCase("WithoutDriveInformation", "incomplete_info"),
        incompleteCase("WithoutUpdate", "incomplete_update")),
    kByName);

TEST(DriveLibrary, MissingOneLeavesThisLog) {
  ComponentFolder component;
  hideTheMachinesOwn(component);
  fs::remove(component / kLibrary);
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));
  expectLog("missing-library", readFile(component / "debug.log"), component.path());
}

TEST(DriveLibrary, MissingEntryPointLeavesThisLog) {
  ComponentFolder component;
  useIncomplete(component, "incomplete_update");
  EXPECT_EQ(component.run({"-i", "-o", "out.xml", "-d"}), (Outcome{0, "", ""}));
  expectLog("missing-entry-point", readFile(component / "debug.log"), component.path());
}

class LibraryPlaces : public testing::Test {
 protected:
  LibraryPlaces() { component.setDrives({drive(1)}); }

  void expectDriveFound() {
    EXPECT_EQ(component.run({"-i", "-d"}), (Outcome{0, inventoryDocument({listed({})}), ""}));
  }
  std::vector<std::string> log() const { return messages(readFile(component / "debug.log")); }

  static constexpr char kSecondPlace[] = "Loading NVMePCISSD_LIBRARY from system or KEST path";
  ComponentFolder component;
};

// Promise: drive-library-place
TEST_F(LibraryPlaces, OnTheLoadersPathAloneIsFound) {
  fs::rename(component / kLibrary, component.loaderFolder() / kLibrary);
  expectDriveFound();
  EXPECT_THAT(log(), Contains(kSecondPlace));
}

TEST_F(LibraryPlaces, OnTheLoadersPathStandsInForABrokenOne) {
  fs::rename(component / kLibrary, component.loaderFolder() / kLibrary);
  writeFile(component / kLibrary, "no library\n");
  expectDriveFound();
  EXPECT_THAT(log(), Contains(kSecondPlace));
}

// Promise: drive-library-place
TEST_F(LibraryPlaces, InTheWorkingFolderComesFirst) {
  hideTheMachinesOwn(component);
  expectDriveFound();
  EXPECT_THAT(log(), Not(Contains(kSecondPlace)));
}

TEST_F(LibraryPlaces, OnTheLoadersPathDoesNotCompleteAnIncompleteOne) {
  fs::rename(component / kLibrary, component.loaderFolder() / kLibrary);
  useIncomplete(component, "incomplete_info");
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument({}), ""}));
}

struct ListCase {
  const char* name;
  std::vector<json> drives;
  json changes;
  std::vector<int> found;
};

class OddList : public testing::TestWithParam<ListCase> {
 protected:
  OddList() { component.setDrives(GetParam().drives, GetParam().changes); }

  std::vector<std::string> found(std::string (*fragment)(const ExpectedDrive&)) const {
    std::vector<std::string> fragments;
    for (const int number : GetParam().found) fragments.push_back(fragment(expectedDrive(number)));
    return fragments;
  }

  ComponentFolder component;
};

// Promise: drive-texts-are-cut
TEST_P(OddList, IsListedAsFarAsItGoes) {
  EXPECT_EQ(component.run({"-i"}), (Outcome{0, inventoryDocument(found(listed)), ""}));
}

TEST_P(OddList, IsFlashedAsFarAsItGoes) {
  EXPECT_EQ(component.run({"-u"}),
            (Outcome{GetParam().found.empty() ? 1 : 0, updateDocument(found(updated)), ""}));
  EXPECT_THAT(component.flashCalls(), testing::SizeIs(GetParam().found.size()));
}

namespace {

const json kNoEntry = {{"nullEntry", true}};

const ListCase kLists[] = {
    {"CountAndNullList", {drive(1), drive(2)}, {{"list", "null"}}, {}},
    {"CountAndNoList", {drive(1), drive(2)}, {{"list", "untouched"}}, {}},
    {"ListAndNoCount", {drive(1), drive(2)}, {{"list", "uncounted"}}, {}},
    {"NoDrives", {}, json::object(), {}},
    {"OneEmptyEntry", {drive(1, kNoEntry)}, json::object(), {}},
    {"AllEntriesEmpty", {drive(1, kNoEntry), drive(2, kNoEntry)}, json::object(), {}},
    {"FirstEntryEmpty", {drive(1, kNoEntry), drive(2), drive(3)}, json::object(), {2, 3}},
    {"MiddleEntryEmpty", {drive(1), drive(2, kNoEntry), drive(3)}, json::object(), {1, 3}},
    {"LastEntryEmpty", {drive(1), drive(2), drive(3, kNoEntry)}, json::object(), {1, 2}},
};

}  // namespace

INSTANTIATE_TEST_SUITE_P(DriveLibrary, OddList, testing::ValuesIn(kLists), kByName);
