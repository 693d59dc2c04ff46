// A drive library whose discovery throws, which no function of such a library may.

#include <stdexcept>

#include "NVMeRecords.h"

extern "C" {

NVMeDiscoverDrives NVMEDiscoverDrives;
NVMeGetDriveInfo NVMEGetDriveInfo;
NVMeUpdateFirmware NVMEUpdateFirmware;

int NVMEDiscoverDrives(std::uint32_t* /*count*/, NVMeDriveRecord*** /*drives*/) {
  throw std::runtime_error("this library does not want to discover");
}

int NVMEGetDriveInfo(_NVME_ZOLT_BDF* /*address*/, NVMeDriveInfo* /*info*/) {
  return 0;
}

int NVMEUpdateFirmware(_NVME_ZOLT_BDF* /*address*/, const char* /*payloadPath*/) {
  return 0;
}

}  // extern "C"
