// The library as callers get it: opened at run time, beside a process that has the same base utilities.

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "NVMeRecords.h"
#include "TestSupport.h"

namespace {

using ::testing::ElementsAre;

struct LibraryCloser {
  void operator()(void* handle) const { dlclose(handle); }
};

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

TEST_F(SharedObjectTest, ExportsItsEntryPointsAndNotTheBaseUtilities) {
  for (const char* const name : {"NVMEDiscoverDrives", "NVMEGetDriveInfo", "NVMEUpdateFirmware"}) {
    EXPECT_NE(dlsym(m_handle.get(), name), nullptr) << name;
  }
  for (const char* const name : {"_ZN7CLogger13m_ptrInstanceE", "_ZN7CLogger11GetInstanceEv",
                                 "_ZN14CPlatformLayer11GetPlatformEv", "_ZN22CSoftwareComponentInfoC1Ev"}) {
    EXPECT_EQ(dlsym(m_handle.get(), name), nullptr) << name;
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
