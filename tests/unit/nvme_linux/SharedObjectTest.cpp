// The library as callers get it: opened at run time, beside a process that has the same base utilities.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "AllocationFault.h"
#include "NVMeRecords.h"
#include "TestSupport.h"

namespace nvme_linux {

namespace {

using ::testing::ElementsAre;

struct LibraryCloser {
  void operator()(void* handle) const { dlclose(handle); }
};

/// The names that the dynamic loader finds in the library.
std::vector<std::string> exportedSymbols() {
  const ScratchFolder folder;
  const auto list = folder / "symbols";
  const std::string command = "nm -D --defined-only --format=posix " DRIVE_LIBRARY " >" + list.string();
  EXPECT_EQ(std::system(command.c_str()), 0);
  std::vector<std::string> names;
  std::istringstream lines(readFile(list));
  for (std::string line; std::getline(lines, line);) names.push_back(line.substr(0, line.find(' ')));
  return names;
}

class SharedObjectTest : public ::testing::Test {
 protected:
  template <class EntryPoint>
  EntryPoint* bind(const char* name) {
    return reinterpret_cast<EntryPoint*>(dlsym(m_handle.get(), name));
  }

  void SetUp() override { ASSERT_NE(m_handle, nullptr) << dlerror(); }

  WorkingFolder m_folder;
  std::unique_ptr<void, LibraryCloser> m_handle{dlopen(DRIVE_LIBRARY, RTLD_NOW)};
};

TEST_F(SharedObjectTest, ExportsItsThreeEntryPointsAndNothingElse) {
  EXPECT_THAT(exportedSymbols(), ElementsAre("NVMEDiscoverDrives", "NVMEGetDriveInfo", "NVMEUpdateFirmware"));
}

TEST_F(SharedObjectTest, MayBeClosedAndOpenedAgain) {
  writeFile(m_folder / "package.xml", "<SoftwareComponent/>");
  for (int i = 0; i < 3; ++i) {
    std::uint32_t count = 7;
    NVMeDriveRecord** drives = nullptr;
    EXPECT_EQ(bind<NVMeDiscoverDrives>("NVMEDiscoverDrives")(&count, &drives), 0);
    EXPECT_EQ(count, 0U);
    m_handle.reset();
    m_handle.reset(dlopen(DRIVE_LIBRARY, RTLD_NOW));
    ASSERT_NE(m_handle, nullptr) << dlerror();
  }
}

TEST_F(SharedObjectTest, RefusesMissingArguments) {
  _NVME_ZOLT_BDF address{};
  NVMeDriveInfo info{};
  std::uint32_t count = 0;
  NVMeDriveRecord** drives = nullptr;
  EXPECT_EQ(bind<NVMeDiscoverDrives>("NVMEDiscoverDrives")(nullptr, &drives), -EINVAL);
  EXPECT_EQ(bind<NVMeDiscoverDrives>("NVMEDiscoverDrives")(&count, nullptr), -EINVAL);
  EXPECT_EQ(bind<NVMeGetDriveInfo>("NVMEGetDriveInfo")(nullptr, &info), -EINVAL);
  EXPECT_EQ(bind<NVMeGetDriveInfo>("NVMEGetDriveInfo")(&address, nullptr), -EINVAL);
  EXPECT_EQ(bind<NVMeUpdateFirmware>("NVMEUpdateFirmware")(nullptr, "image"), -EINVAL);
  EXPECT_EQ(bind<NVMeUpdateFirmware>("NVMEUpdateFirmware")(&address, nullptr), -EINVAL);
}

TEST_F(SharedObjectTest, LetsNoExceptionOutWhenMemoryIsShort) {
  const std::string path(1000, 'x');
  _NVME_ZOLT_BDF address{};
  const auto update = bind<NVMeUpdateFirmware>("NVMEUpdateFirmware");
  {
    const AllocationFault copyOfThePath(AllocationFault::kThrowsBadAlloc, path.size() + 1);
    EXPECT_EQ(update(&address, path.c_str()), -ENOMEM);
  }
  EXPECT_EQ(update(&address, path.c_str()), -ENODEV);
}

TEST_F(SharedObjectTest, KnowsNoDriveWhereThePackageNamesNone) {
  std::uint32_t count = 7;
  NVMeDriveRecord** drives = nullptr;
  EXPECT_EQ(bind<NVMeDiscoverDrives>("NVMEDiscoverDrives")(&count, &drives), 0);
  EXPECT_EQ(count, 0U);
  _NVME_ZOLT_BDF address{};
  NVMeDriveInfo info{};
  EXPECT_EQ(bind<NVMeGetDriveInfo>("NVMEGetDriveInfo")(&address, &info), -ENODEV);
  EXPECT_EQ(bind<NVMeUpdateFirmware>("NVMEUpdateFirmware")(&address, "image"), -ENODEV);
}

TEST_F(SharedObjectTest, LeavesTheDebugLogOfTheProcessAloneEvenWithTheMarkerFile) {
  writeFile(m_folder / "enabledebug.txt", "");
  writeFile(m_folder / "package.xml", "<SoftwareComponent/>");
  writeFile(m_folder / "baseutils.log", "the process's own\n");
  const LogCapture log;
  std::uint32_t count = 0;
  NVMeDriveRecord** drives = nullptr;
  EXPECT_EQ(bind<NVMeDiscoverDrives>("NVMEDiscoverDrives")(&count, &drives), 0);
  EXPECT_THAT(log.messages(), ElementsAre());
  EXPECT_EQ(readFile(m_folder / "baseutils.log"), "the process's own\n");
}

}  // namespace

}  // namespace nvme_linux
