// A drive library that costs next to nothing, so that it does not blur a comparison: as many equal drives as
// BENCH_DRIVES says.

#include <array>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "NVMeRecords.h"

namespace {

template <std::size_t Width>
void fill(std::array<char, Width>& field, const char* text) {
  field.fill(' ');
  std::memcpy(field.data(), text, std::strlen(text));
}

std::vector<NVMeDriveRecord*>& drives() {
  static std::vector<NVMeDriveRecord> records;
  static std::vector<NVMeDriveRecord*> list;
  const char* const count = std::getenv("BENCH_DRIVES");
  records.assign(count == nullptr ? 1 : std::strtoul(count, nullptr, 10), {});
  list.clear();
  for (NVMeDriveRecord& record : records) {
    record.vendorID = 0xf101;
    record.deviceID = 0xa003;
    record.subVendorID = 0xf1a0;
    record.subDeviceID = 0x1000;
    record.bus = static_cast<std::uint8_t>(list.size());
    record.device = static_cast<std::uint8_t>(list.size() >> 8);
    fill(record.modelNumber, "SAMPLE");
    fill(record.serialNumber, "SIM00000000000000001");  // the full width: the yardstick trims nothing
    list.push_back(&record);
  }
  return list;
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int NVMEDiscoverDrives(std::uint32_t* count, NVMeDriveRecord*** list) {
  *count = static_cast<std::uint32_t>(drives().size());
  *list = drives().data();
  return 0;
}

[[gnu::visibility("default")]] int NVMEGetDriveInfo(_NVME_ZOLT_BDF* /*address*/, NVMeDriveInfo* info) {
  fill(info->firmwareRevision, "SMP10100");
  return 0;
}

[[gnu::visibility("default")]] int NVMEUpdateFirmware(_NVME_ZOLT_BDF* /*address*/, const char* /*payload*/) {
  return 0;
}

}  // extern "C"
