// The built libnvme.so through its three entry points.

#include <dlfcn.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "DriveRecords.h"
#include "SimulatorTest.h"

namespace fs = std::filesystem;
using simulator::DriveAddress;
using simulator::DriveInformation;
using simulator::DriveRecord;
using testing::HasSubstr;

namespace {

constexpr DriveAddress kDrive = {0x3b, 0, 0};

struct Unload {
  void operator()(void* library) const { dlclose(library); }
};

/// A freshly loaded library: it reads the environment when it is first called.
class Library {
 public:
  Library() : m_handle(dlopen(SIMULATOR_FOLDER "/libnvme.so", RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) throw std::runtime_error(dlerror());
  }

  std::int32_t discover(std::uint32_t* count, DriveRecord*** list) const {
    return entry<std::int32_t(std::uint32_t*, DriveRecord***)>("NVMEDiscoverDrives")(count, list);
  }
  std::int32_t information(const DriveAddress* address, DriveInformation* result) const {
    return entry<std::int32_t(const DriveAddress*, DriveInformation*)>("NVMEGetDriveInfo")(address, result);
  }
  std::int32_t update(const DriveAddress* address, const char* payload) const {
    return entry<std::int32_t(const DriveAddress*, const char*)>("NVMEUpdateFirmware")(address, payload);
  }
  bool exports(const char* symbol) const { return dlsym(m_handle.get(), symbol) != nullptr; }

 private:
  template <class Function>
  Function* entry(const char* symbol) const {
    return reinterpret_cast<Function*>(dlsym(m_handle.get(), symbol));
  }

  std::unique_ptr<void, Unload> m_handle;
};

std::string revisionOf(const Library& library, const DriveAddress& address = kDrive) {
  DriveInformation information = {};
  const std::int32_t result = library.information(&address, &information);
  return result == 0 ? std::string(information.revision.begin(), information.revision.end())
                     : std::to_string(result);
}

}  // namespace

class SimulatedLibrary : public testing::Test {
 protected:
  /// One drive at 3b:00.0 whose keys `changes` adds to; `server` are keys of the scenario.
  void writeScenario(const std::string& changes = "", const std::string& server = "") {
    writeFile("scenario.json", R"({"newRevision": "SMP90200", )" + server +
                                   R"("drives": [{"vendorId": "f101",)" +
                                   R"("deviceId": "a801", "subVendorId": "f1a0", "subDeviceId": "1001",)" +
                                   R"("address": "3b:00.0", "model": "SAMPLE", "serial": "SIM1",)" + changes +
                                   R"("revision": "SMP10100"}]})");
  }
  std::string calls() const { return readFile(folder / "calls"); }
  /// Standard error of what `action` does.
  template <class Action>
  static std::string complaints(Action action) {
    testing::internal::CaptureStderr();
    action();
    return testing::internal::GetCapturedStderr();
  }

  void SetUp() override {
    writeScenario();
    writeFile("payload.bin", "firmware");
  }

  WorkingFolder folder;
  Environment environment{"NVME_SIMULATOR_CALLS", folder / "calls"};
};

TEST_F(SimulatedLibrary, ExportsItsEntryPointsAlone) {
  const Library library;
  EXPECT_TRUE(library.exports("NVMEDiscoverDrives"));
  EXPECT_TRUE(library.exports("NVMEGetDriveInfo"));
  EXPECT_TRUE(library.exports("NVMEUpdateFirmware"));
  EXPECT_FALSE(library.exports("_ZN9simulator15SimulatedDrivesC1Ev"));
}

TEST_F(SimulatedLibrary, ListsTheDrives) {
  const Library library;
  std::uint32_t count = 7;
  DriveRecord** list = nullptr;
  ASSERT_EQ(library.discover(&count, &list), 0);
  ASSERT_EQ(count, 1U);
  EXPECT_EQ(list[0]->vendorId, 0xf101);
  EXPECT_EQ(list[0]->address, kDrive);
  DriveRecord** again = nullptr;
  EXPECT_EQ(library.discover(&count, &again), 0);
  EXPECT_EQ(again, list);
  EXPECT_EQ(calls(), "NVMEDiscoverDrives\t0\nNVMEDiscoverDrives\t0\n");
}

TEST_F(SimulatedLibrary, HandsOutNothingWhenDiscoveryFails) {
  writeScenario("", R"("discoveryResult": -1, )");
  const Library library;
  std::uint32_t count = 7;
  DriveRecord** list = nullptr;
  EXPECT_EQ(library.discover(&count, &list), -1);
  EXPECT_EQ(count, 7U);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(calls(), "NVMEDiscoverDrives\t-1\n");
}

struct ShapeCase {
  const char* name;
  std::uint32_t count;
  bool nullList;
  bool untouched;
};

TEST_F(SimulatedLibrary, HandsOutListsOfEveryShape) {
  const std::vector<ShapeCase> shapes = {{"whole", 1, false, false},
                                         {"null", 1, true, false},
                                         {"untouched", 1, false, true},
                                         {"uncounted", 0, false, false}};
  for (const ShapeCase& shape : shapes) {
    writeScenario("", std::string(R"("list": ")") + shape.name + R"(", )");
    const Library library;
    std::uint32_t count = 7;
    DriveRecord* none = nullptr;
    DriveRecord** list = &none;
    EXPECT_EQ(library.discover(&count, &list), 0) << shape.name;
    EXPECT_EQ(count, shape.count) << shape.name;
    EXPECT_EQ(list == nullptr, shape.nullList) << shape.name;
    EXPECT_EQ(list == &none, shape.untouched) << shape.name;
  }
}

TEST_F(SimulatedLibrary, LeavesEntriesNull) {
  writeScenario(R"("nullEntry": true,)");
  const Library library;
  std::uint32_t count = 0;
  DriveRecord** list = nullptr;
  ASSERT_EQ(library.discover(&count, &list), 0);
  ASSERT_EQ(count, 1U);
  EXPECT_EQ(list[0], nullptr);
}

TEST_F(SimulatedLibrary, TellsTheRevision) {
  const Library library;
  DriveInformation information = {};
  ASSERT_EQ(library.information(&kDrive, &information), 0);
  EXPECT_EQ(std::string(information.revision.begin(), information.revision.end()), "SMP10100");
  for (const std::uint8_t byte : information.unused) EXPECT_EQ(byte, 0xA5);
  EXPECT_EQ(calls(), "NVMEGetDriveInfo\t3b:00.0\t0\n");
}

TEST_F(SimulatedLibrary, LeavesTheInformationAloneWhenItCannotBeRead) {
  writeScenario(R"("revisionResult": 5,)");
  const Library library;
  DriveInformation information = {};
  EXPECT_EQ(library.information(&kDrive, &information), 5);
  EXPECT_EQ(information.revision, simulator::Revision{});
}

TEST_F(SimulatedLibrary, KnowsItsDrivesOnly) {
  const Library library;
  constexpr DriveAddress kOther = {0x3b, 0, 1};
  EXPECT_EQ(revisionOf(library, kOther), "1002");
  EXPECT_EQ(library.update(&kOther, "payload.bin"), 1002);
  EXPECT_EQ(calls(), "NVMEGetDriveInfo\t3b:00.1\t1002\nNVMEUpdateFirmware\t3b:00.1\tpayload.bin\t1002\n");
}

TEST_F(SimulatedLibrary, FlashesForLaterProcessesToo) {
  {
    const Library library;
    EXPECT_EQ(library.update(&kDrive, "payload.bin"), 0);
    EXPECT_EQ(revisionOf(library), "SMP90200");
  }
  EXPECT_EQ(revisionOf(Library()), "SMP90200");
  EXPECT_TRUE(fs::remove("nvme-state.json"));
  EXPECT_EQ(revisionOf(Library()), "SMP10100");
}

TEST_F(SimulatedLibrary, AResetRequestIsASuccessAndAnyOtherResultIsNone) {
  for (const auto& [result, revision] : {std::pair(267, "SMP90200"), std::pair(1, "SMP10100"),
                                         std::pair(-1, "SMP10100"), std::pair(268, "SMP10100")}) {
    fs::remove("nvme-state.json");
    writeScenario("\"updateResult\": " + std::to_string(result) + ",");
    const Library library;
    EXPECT_EQ(library.update(&kDrive, "payload.bin"), result);
    EXPECT_EQ(revisionOf(library), revision) << result;
  }
}

TEST_F(SimulatedLibrary, KeepsTheRevisionWhereAFlashBringsNone) {
  writeFile("scenario.json", [] {
    std::string text = readFile("scenario.json");
    return text.erase(1, text.find("\"drives\"") - 1);
  }());
  const Library library;
  EXPECT_EQ(library.update(&kDrive, "payload.bin"), 0);
  EXPECT_EQ(revisionOf(library), "SMP10100");
  EXPECT_FALSE(fs::exists("nvme-state.json"));
}

TEST_F(SimulatedLibrary, RefusesWhatIsNoPayload) {
  writeFile("empty.bin", "");
  const Library library;
  for (const char* const payload : {"none.bin", "empty.bin", ".", "/dev/null", ""}) {
    std::int32_t result = 0;
    EXPECT_THAT(complaints([&] { result = library.update(&kDrive, payload); }),
                testing::StartsWith("simulated libnvme.so: " + std::string(payload) + ": "));
    EXPECT_EQ(result, 1003) << payload;
  }
  EXPECT_EQ(revisionOf(library), "SMP10100");
}

TEST_F(SimulatedLibrary, SaysSoWhenTheStateCannotBeKept) {
  const Environment elsewhere("NVME_SIMULATOR_STATE", folder / "none" / "state.json");
  const Library library;
  std::int32_t result = 0;
  EXPECT_THAT(complaints([&] { result = library.update(&kDrive, "payload.bin"); }),
              HasSubstr("none/state.json: No such file or directory\n"));
  EXPECT_EQ(result, 1004);
  EXPECT_EQ(revisionOf(library), "SMP10100");
}

TEST_F(SimulatedLibrary, TakesAsLongAsItIsTold) {
  writeScenario(R"("updateMilliseconds": 30,)");
  const Library library;
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(library.update(&kDrive, "payload.bin"), 0);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(30));
}

TEST_F(SimulatedLibrary, RefusesNullArguments) {
  const Library library;
  std::uint32_t count = 0;
  DriveRecord** list = nullptr;
  DriveInformation information = {};
  EXPECT_EQ(library.discover(nullptr, &list), 1005);
  EXPECT_EQ(library.discover(&count, nullptr), 1005);
  EXPECT_EQ(library.information(nullptr, &information), 1005);
  EXPECT_EQ(library.information(&kDrive, nullptr), 1005);
  EXPECT_EQ(library.update(nullptr, "payload.bin"), 1005);
  EXPECT_EQ(library.update(&kDrive, nullptr), 1005);
  EXPECT_EQ(calls(),
            "NVMEDiscoverDrives\t1005\nNVMEDiscoverDrives\t1005\nNVMEGetDriveInfo\t1005\n"
            "NVMEGetDriveInfo\t3b:00.0\t1005\nNVMEUpdateFirmware\tpayload.bin\t1005\n"
            "NVMEUpdateFirmware\t3b:00.0\t1005\n");
}

TEST_F(SimulatedLibrary, FailsEveryCallWithoutAScenario) {
  fs::remove("scenario.json");
  const Library library;
  std::uint32_t count = 7;
  DriveRecord** list = nullptr;
  const std::string missing =
      "simulated libnvme.so: " + (folder / "scenario.json").string() + ": No such file or directory\n";
  std::int32_t result = 0;
  EXPECT_EQ(complaints([&] { result = library.discover(&count, &list); }), missing);
  EXPECT_EQ(result, 1001);
  EXPECT_EQ(count, 7U);
  EXPECT_EQ(complaints([&] { EXPECT_EQ(revisionOf(library), "1001"); }), missing);
  EXPECT_EQ(complaints([&] { EXPECT_EQ(library.update(&kDrive, "payload.bin"), 1001); }), missing);
}

TEST_F(SimulatedLibrary, NamesTheKeyOfAMalformedScenario) {
  writeScenario(R"("updateResult": "0",)");
  const Library library;
  EXPECT_THAT(complaints([&] { EXPECT_EQ(revisionOf(library), "1001"); }),
              HasSubstr("scenario.json: drives[0].updateResult: must be a whole number"));
}

TEST_F(SimulatedLibrary, ReadsTheScenarioOnceForAllCalls) {
  const Library library;
  EXPECT_EQ(revisionOf(library), "SMP10100");
  fs::remove("scenario.json");
  std::uint32_t count = 0;
  DriveRecord** list = nullptr;
  EXPECT_EQ(library.discover(&count, &list), 0);
  EXPECT_EQ(library.update(&kDrive, "payload.bin"), 0);
}

TEST_F(SimulatedLibrary, KeepsToTheWorkingDirectoryOfItsFirstCall) {
  const Library library;
  EXPECT_EQ(revisionOf(library), "SMP10100");
  {
    const WorkingFolder elsewhere;
    EXPECT_EQ(library.update(&kDrive, (folder / "payload.bin").c_str()), 0);
  }
  EXPECT_TRUE(fs::exists("nvme-state.json"));
}
