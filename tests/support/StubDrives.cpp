// A drive library with one drive, for tests of the dynamic loader. The definitions that begin with LACKS_
// leave entry points out.

#include <algorithm>
#include <string_view>

#include "NVMeRecords.h"

extern "C" {

#ifndef LACKS_DISCOVER_DRIVES
int NVMEDiscoverDrives(std::uint32_t* count, NVMeDriveRecord*** drives) {
  static NVMeDriveRecord drive{};
  static NVMeDriveRecord* list = &drive;
  constexpr std::string_view kSerialNumber = "REAL-LIBRARY-0000001";
  std::copy(kSerialNumber.begin(), kSerialNumber.end(), drive.serialNumber.begin());
  *count = 1;
  *drives = &list;
  return 0;
}
#endif

#ifndef LACKS_GET_DRIVE_INFO
int NVMEGetDriveInfo(_NVME_ZOLT_BDF*, NVMeDriveInfo* info) {
  info->firmwareRevision = {'R', 'E', 'A', 'L', '0', '0', '0', '1'};
  return 0;
}
#endif

#ifndef LACKS_UPDATE_FIRMWARE
int NVMEUpdateFirmware(_NVME_ZOLT_BDF*, const char* payloadPath) {
  return *payloadPath == '\0' ? 1 : 0;
}
#endif

int nothingOfInterest() {
  return 0;
}

}  // extern "C"
