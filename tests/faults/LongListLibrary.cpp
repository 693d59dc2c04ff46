// A drive library whose list is longer than the count that it returns; the entries after the count must not
// be touched.

#include <array>
#include <cstdint>
#include <cstring>

#include "NVMeRecords.h"

namespace {

NVMeDriveRecord drive{};
std::array<NVMeDriveRecord*, 4> list{&drive, nullptr, reinterpret_cast<NVMeDriveRecord*>(1), nullptr};

}  // namespace

extern "C" {

NVMeDiscoverDrives NVMEDiscoverDrives;
NVMeGetDriveInfo NVMEGetDriveInfo;
NVMeUpdateFirmware NVMEUpdateFirmware;

int NVMEDiscoverDrives(std::uint32_t* count, NVMeDriveRecord*** drives) {
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
