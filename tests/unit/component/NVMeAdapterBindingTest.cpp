// The adapter's creation and deletion, and how it binds the drive library.

#include <dlfcn.h>

#include <filesystem>

#include "CoreTest.h"

namespace {

const Lines kEntryPoints{"NVMEDiscoverDrives", "NVMEGetDriveInfo", "NVMEUpdateFirmware"};

constexpr char kNoEntryPoint[] =
    "ERROR: Could not able to load one/all of function pointer(s) m_fncNVMEDiscoverDrives, "
    "m_fncNVMEGetDriverInfo,m_fncNVMEGetDriveDeviceName, m_fncNVMEGetDriveInfo, m_fncNVMEUpdateFirmware";
constexpr char kNoLibrary[] =
    "ERROR: Could not able to load the NVMePCISSD Library using NVMePCISSD_LIBRARY to get handle to library";

Lines installFailureLines() {
  return {"Installing MOXI ..", "ERROR: Installing MOXI is Failed"};
}

Lines libraryNotFoundLines() {
  return {"Loading NVMePCISSD_LIBRARY to get handle to library",
          "Loading NVMePCISSD_LIBRARY from system or KEST path", kNoLibrary};
}

Lines entryPointMissingLines() {
  return {"Loading NVMePCISSD_LIBRARY to get handle to library",
          "Received handle to library NVMePCISSD_LIBRARY. Initializing required function pointers",
          kNoEntryPoint, "Releasing handle to library NVMePCISSD_LIBRARY"};
}

Lines without(const Lines& lines, const std::string& unwanted) {
  Lines rest;
  for (const std::string& line : lines) {
    if (line != unwanted) rest.push_back(line);
  }
  return rest;
}

/// The lines of tearing down an adapter that holds no library.
Lines closedTearDownLines() {
  return without(tearDownLines(), "Library handle exists. Freeing it and initialize to NULL");
}

class NVMeAdapterBindingTest : public CoreTest {
 protected:
  bool initialize() { return CNVMeAdapter::GetInstance()->Initialize(); }
  void forgetCalls() { platform.calls.clear(); }

  static Lines installCalls() { return {"install"}; }
  static Lines findCalls() {
    Lines calls;
    for (const std::string& symbol : kEntryPoints) calls.push_back("find " + symbol);
    return calls;
  }
  static Lines openCalls() { return all({{"load ./libnvme.so"}, findCalls()}); }
};

TEST_F(NVMeAdapterBindingTest, GetInstanceMakesOneAdapterAndDoesNotInitializeIt) {
  ASSERT_EQ(CNVMeAdapter::m_ptrInstance, nullptr);
  CNVMeAdapter* const adapter = CNVMeAdapter::GetInstance();
  ASSERT_NE(adapter, nullptr);
  EXPECT_EQ(CNVMeAdapter::m_ptrInstance, adapter);
  EXPECT_EQ(CNVMeAdapter::GetInstance(), adapter);
  EXPECT_EQ(platform.calls, Lines{});
  EXPECT_EQ(logged(), Lines{});
}

TEST_F(NVMeAdapterBindingTest, GetInstanceReturnsNullWithoutMemoryAndTriesAgain) {
  {
    const AllocationFault fault(AllocationFault::kReturnsNull, sizeof(CNVMeAdapter));
    EXPECT_EQ(CNVMeAdapter::GetInstance(), nullptr);
  }
  EXPECT_EQ(CNVMeAdapter::m_ptrInstance, nullptr);
  EXPECT_EQ(logged(), Lines{"ERROR: Object Creation or Library intialization failed"});
  EXPECT_NE(CNVMeAdapter::GetInstance(), nullptr);
}

TEST_F(NVMeAdapterBindingTest, DeleteInstanceWithoutAdapterOnlyTraces) {
  CNVMeAdapter::DeleteInstance();
  EXPECT_EQ(logged(), nothingToTearDownLines());
  EXPECT_EQ(platform.calls, Lines{});
}

TEST_F(NVMeAdapterBindingTest, DeleteInstanceOfFreshAdapterClosesAndUninstallsNothing) {
  CNVMeAdapter::GetInstance();
  CNVMeAdapter::DeleteInstance();
  EXPECT_EQ(CNVMeAdapter::m_ptrInstance, nullptr);
  EXPECT_EQ(logged(), without(closedTearDownLines(), "Uninstalling MOXI is completed."));
  EXPECT_EQ(platform.calls, Lines{});
}

TEST_F(NVMeAdapterBindingTest, DeleteInstanceClosesTheLibraryThenUninstalls) {
  initializedAdapter();
  forgetCalls();
  CNVMeAdapter::DeleteInstance();
  EXPECT_EQ(logged(), tearDownLines());
  EXPECT_EQ(platform.calls, (Lines{"close", "uninstall"}));
}

TEST_F(NVMeAdapterBindingTest, SecondDeleteInstanceFindsNothing) {
  initializedAdapter();
  CNVMeAdapter::DeleteInstance();
  logged();
  forgetCalls();
  CNVMeAdapter::DeleteInstance();
  EXPECT_EQ(logged(), nothingToTearDownLines());
  EXPECT_EQ(platform.calls, Lines{});
}

TEST_F(NVMeAdapterBindingTest, UninstallFailureIsLogged) {
  initializedAdapter();
  platform.uninstallFails = true;
  CNVMeAdapter::DeleteInstance();
  const Lines lines = logged();
  ASSERT_EQ(lines.size(), tearDownLines().size());
  EXPECT_EQ(lines[5], "ERROR: Uninstalling MOXI is failed.");
  EXPECT_EQ(without(lines, lines[5]), without(tearDownLines(), "Uninstalling MOXI is completed."));
}

TEST_F(NVMeAdapterBindingTest, AdapterAfterDeleteInstanceStartsAnew) {
  initializedAdapter();
  CNVMeAdapter::DeleteInstance();
  logged();
  forgetCalls();
  EXPECT_TRUE(initialize());
  EXPECT_EQ(logged(), initializeLines());
  EXPECT_EQ(platform.calls, all({installCalls(), openCalls()}));
}

TEST_F(NVMeAdapterBindingTest, InitializeInstallsThenBindsTheLibraryOfTheWorkingDirectory) {
  EXPECT_TRUE(initialize());
  EXPECT_EQ(logged(), initializeLines());
  EXPECT_EQ(platform.calls, all({installCalls(), openCalls()}));
}

TEST_F(NVMeAdapterBindingTest, InitializeFallsBackToTheLoadersSearch) {
  platform.libraries = {{"libnvme.so", &library}};
  EXPECT_TRUE(initialize());
  EXPECT_EQ(logged(),
            all({installLines(),
                 {"Loading NVMePCISSD_LIBRARY to get handle to library",
                  "Loading NVMePCISSD_LIBRARY from system or KEST path",
                  "Received handle to library NVMePCISSD_LIBRARY. Initializing required function pointers",
                  "INFO: All required function pointers initialized successfully"}}));
  EXPECT_EQ(platform.calls, all({{"install", "load ./libnvme.so", "load libnvme.so"}, findCalls()}));
}

TEST_F(NVMeAdapterBindingTest, InitializeFailsWithoutLibraryAndStillUninstalls) {
  platform.libraries.clear();
  EXPECT_FALSE(initialize());
  EXPECT_EQ(logged(), all({installLines(), libraryNotFoundLines()}));
  EXPECT_EQ(platform.calls, (Lines{"install", "load ./libnvme.so", "load libnvme.so"}));

  forgetCalls();
  CNVMeAdapter::DeleteInstance();
  EXPECT_EQ(logged(), closedTearDownLines());
  EXPECT_EQ(platform.calls, Lines{"uninstall"});
}

TEST_F(NVMeAdapterBindingTest, InitializeSucceedsOnceTheLibraryIsThere) {
  platform.libraries.clear();
  EXPECT_FALSE(initialize());
  logged();
  forgetCalls();
  platform.libraries["./libnvme.so"] = &library;
  EXPECT_TRUE(initialize());
  EXPECT_EQ(logged(), initializeLines());
  EXPECT_EQ(platform.calls, all({installCalls(), openCalls()}));
}

TEST_F(NVMeAdapterBindingTest, AnyMissingEntryPointClosesTheLibraryAfterAllWereLookedUp) {
  for (unsigned lacking = 1; lacking < 8; ++lacking) {
    SCOPED_TRACE(lacking);
    library.missing.clear();
    for (std::size_t i = 0; i < kEntryPoints.size(); ++i) {
      if ((lacking >> i & 1U) != 0) library.missing.insert(kEntryPoints[i]);
    }
    forgetCalls();
    EXPECT_FALSE(initialize());
    EXPECT_EQ(logged(), all({installLines(), entryPointMissingLines()}));
    EXPECT_EQ(platform.calls, all({installCalls(), openCalls(), {"close"}}));

    forgetCalls();
    CNVMeAdapter::DeleteInstance();
    EXPECT_EQ(logged(), closedTearDownLines());
    EXPECT_EQ(platform.calls, Lines{"uninstall"});
  }
}

TEST_F(NVMeAdapterBindingTest, InitializeAfterAMissingEntryPointOpensTheLibraryAgain) {
  library.missing = {"NVMEUpdateFirmware"};
  EXPECT_FALSE(initialize());
  logged();
  forgetCalls();
  library.missing.clear();
  EXPECT_TRUE(initialize());
  EXPECT_EQ(logged(), initializeLines());
  EXPECT_EQ(platform.calls, all({installCalls(), openCalls()}));
}

TEST_F(NVMeAdapterBindingTest, InstallFailureKeepsTheLibraryShutAndLeavesNothingToUninstall) {
  platform.installFails = true;
  EXPECT_FALSE(initialize());
  EXPECT_EQ(logged(), installFailureLines());
  EXPECT_EQ(platform.calls, installCalls());

  forgetCalls();
  CNVMeAdapter::DeleteInstance();
  EXPECT_EQ(logged(), without(closedTearDownLines(), "Uninstalling MOXI is completed."));
  EXPECT_EQ(platform.calls, Lines{});
}

TEST_F(NVMeAdapterBindingTest, InitializeAfterAnInstallFailureTriesAgain) {
  platform.installFails = true;
  EXPECT_FALSE(initialize());
  logged();
  platform.installFails = false;
  EXPECT_TRUE(initialize());
  EXPECT_EQ(logged(), initializeLines());
}

TEST_F(NVMeAdapterBindingTest, SupportLibraryOfAnEarlierInitializeIsEnoughToOpenTheLibrary) {
  platform.libraries.clear();
  EXPECT_FALSE(initialize());
  logged();
  platform.libraries["./libnvme.so"] = &library;
  platform.installFails = true;
  EXPECT_TRUE(initialize());
  EXPECT_EQ(logged(), all({installFailureLines(), openLines()}));
}

TEST_F(NVMeAdapterBindingTest, SecondInitializeInstallsAgainAndKeepsTheLibrary) {
  CNVMeAdapter& adapter = initializedAdapter();
  forgetCalls();
  EXPECT_TRUE(adapter.Initialize());
  EXPECT_EQ(logged(), installLines());
  EXPECT_EQ(platform.calls, installCalls());
}

TEST_F(NVMeAdapterBindingTest, SecondInitializeSucceedsThoughItsInstallFails) {
  CNVMeAdapter& adapter = initializedAdapter();
  platform.installFails = true;
  EXPECT_TRUE(adapter.Initialize());
  EXPECT_EQ(logged(), installFailureLines());

  CNVMeAdapter::DeleteInstance();
  EXPECT_EQ(logged(), tearDownLines());
}

/// Uses the real dynamic loader, and libraries in files.
class NVMeAdapterLoaderTest : public NVMeAdapterBindingTest {
 protected:
  NVMeAdapterLoaderTest() { platform.loaderIsReal = true; }

  static std::filesystem::path built(const std::string& variant) {
    return std::filesystem::path(DRIVE_LIBRARIES_DIRECTORY) / variant / "libnvme.so";
  }
  void provide(const std::string& variant) {
    std::filesystem::copy_file(built(variant), work / "libnvme.so");
  }

  /// Whether the loader still holds the library of the working directory.
  static bool isLoaded() {
    void* const handle = dlopen("./libnvme.so", RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) dlclose(handle);
    return handle != nullptr;
  }

  void expectTheDriveOfTheLibrary() {
    Records records;
    EXPECT_TRUE(CNVMeAdapter::GetInstance()->DiscoverNVMeDevices(records.list));
    ASSERT_EQ(records.list.size(), 1U);
    EXPECT_EQ(records.list[0]->getEnumId(), "Serial Number: REAL-LIBRARY-0000001");
    EXPECT_EQ(records.list[0]->getVersion(), "REAL0001");
  }
};

TEST_F(NVMeAdapterLoaderTest, LibraryIsLoadedFromTheWorkingDirectoryAndUnloaded) {
  provide("complete");
  EXPECT_TRUE(initialize());
  EXPECT_TRUE(isLoaded());
  expectTheDriveOfTheLibrary();
  CNVMeAdapter::DeleteInstance();
  EXPECT_FALSE(isLoaded());
}

TEST_F(NVMeAdapterLoaderTest, LibraryThatTheLoaderKnowsByItsBareNameIsTheFallback) {
  // A loaded library answers to its soname, wherever it came from.
  void* const elsewhere = dlopen(built("complete").c_str(), RTLD_NOW);
  ASSERT_NE(elsewhere, nullptr) << dlerror();
  EXPECT_TRUE(initialize());
  expectTheDriveOfTheLibrary();
  CNVMeAdapter::DeleteInstance();
  dlclose(elsewhere);
}

TEST_F(NVMeAdapterLoaderTest, LibraryThatLacksEntryPointsIsUnloaded) {
  for (const char* variant : {"without_update", "without_any"}) {
    SCOPED_TRACE(variant);
    provide(variant);
    EXPECT_FALSE(initialize());
    EXPECT_EQ(logged(), all({installLines(), entryPointMissingLines()}));
    EXPECT_FALSE(isLoaded());
    std::filesystem::remove(work / "libnvme.so");
  }
}

TEST_F(NVMeAdapterLoaderTest, TextFileInPlaceOfTheLibraryIsPassedOver) {
  writeFile(work / "libnvme.so", "no library\n");
  void* const elsewhere = dlopen(built("complete").c_str(), RTLD_NOW);
  ASSERT_NE(elsewhere, nullptr) << dlerror();
  EXPECT_TRUE(initialize());
  EXPECT_EQ(platform.calls, all({{"install", "load ./libnvme.so", "load libnvme.so"}, findCalls()}));
  CNVMeAdapter::DeleteInstance();
  dlclose(elsewhere);
}

}  // namespace
