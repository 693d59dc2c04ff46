// A drive library with one drive and one fault, which the build chooses by a definition.

#include <array>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "NVMeRecords.h"

namespace {

NVMeDriveRecord drive{};
// Longer than the count that goes with it: the entries after the first must not be touched.
std::array<NVMeDriveRecord*, 4> list{&drive, nullptr, reinterpret_cast<NVMeDriveRecord*>(1), nullptr};

/// What the loader runs.
struct Start {
  Start() {
#ifdef THROWS_AT_LOAD
    throw std::runtime_error("this library does not want to be loaded");
#elif defined(EXITS_AT_LOAD)
    std::_Exit(3);
#endif
  }
};

[[maybe_unused]] const Start start;

}  // namespace

extern "C" {

NVMeDiscoverDrives NVMEDiscoverDrives;
NVMeGetDriveInfo NVMEGetDriveInfo;
NVMeUpdateFirmware NVMEUpdateFirmware;
int functionThatNoLibraryHas();

int NVMEDiscoverDrives(std::uint32_t* count, NVMeDriveRecord*** drives) {
#ifdef THROWS_IN_DISCOVERY
  throw std::runtime_error("this library does not want to discover");  // no function of it may
#elif defined(DOES_NOT_RESOLVE)
  functionThatNoLibraryHas();
#endif
  drive.vendorID = 0xF101;
  drive.serialNumber.fill('S');
  *count = 1;
  *drives = list.data();
  return 0;
}

int NVMEGetDriveInfo(_NVME_ZOLT_BDF* /*address*/, NVMeDriveInfo* info) {
  info->firmwareRevision.fill('R');
  return 0;
}

int NVMEUpdateFirmware(_NVME_ZOLT_BDF* /*address*/, const char* /*payloadPath*/) {
  return 0;
}

}  // extern "C"
