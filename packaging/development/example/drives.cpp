// A drive library with one drive, which takes any file that can be opened as its firmware.

#include <algorithm>
#include <fstream>
#include <string_view>
#include <type_traits>

#include "NVMeRecords.h"

namespace {

/// Copies a text into a field that is padded with blanks and has no terminating NUL.
template <std::size_t width>
void fill(std::array<char, width>& field, std::string_view text) {
  field.fill(' ');
  std::copy_n(text.begin(), std::min(width, text.size()), field.begin());
}

/// The library owns the list and the records; they live as long as it is loaded.
NVMeDriveRecord* theDrive() {
  static NVMeDriveRecord drive = [] {
    NVMeDriveRecord record{};
    record.vendorID = 0xf101;
    record.deviceID = 0xa801;
    record.subVendorID = 0xf1a0;
    record.subDeviceID = 0x1001;
    record.bus = 0x3b;
    fill(record.modelNumber, "EXAMPLE 400GB");
    fill(record.serialNumber, "EX0001");
    return record;
  }();
  return &drive;
}

bool isTheDrive(const _NVME_ZOLT_BDF* address) {
  const NVMeDriveRecord* drive = theDrive();
  return address->bus == drive->bus && address->device == drive->device &&
         address->function == drive->function;
}

}  // namespace

extern "C" {

int NVMEDiscoverDrives(std::uint32_t* count, NVMeDriveRecord*** drives) {
  static NVMeDriveRecord* list[] = {theDrive()};
  *count = 1;
  *drives = list;
  return 0;
}

int NVMEGetDriveInfo(_NVME_ZOLT_BDF* address, NVMeDriveInfo* info) {
  if (!isTheDrive(address)) return 1;
  fill(info->firmwareRevision, "EXA10100");
  return 0;
}

int NVMEUpdateFirmware(_NVME_ZOLT_BDF* address, const char* payloadPath) {
  if (!isTheDrive(address) || !std::ifstream(payloadPath)) return 2;
  return 267;  // done, active after a reset
}
}

// The compiler compares the functions with the interface.
static_assert(std::is_same_v<decltype(NVMEDiscoverDrives), NVMeDiscoverDrives>);
static_assert(std::is_same_v<decltype(NVMEGetDriveInfo), NVMeGetDriveInfo>);
static_assert(std::is_same_v<decltype(NVMEUpdateFirmware), NVMeUpdateFirmware>);
