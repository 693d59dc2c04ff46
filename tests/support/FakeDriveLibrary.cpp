#include "FakeDriveLibrary.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

FakeDriveLibrary* FakeDriveLibrary::s_current = nullptr;

namespace {

constexpr std::size_t kRecordSize = 84;
constexpr std::size_t kInfoSize = 40;
constexpr unsigned char kNoise = 0xEE;

void put(std::vector<unsigned char>& bytes, std::size_t offset, std::uint16_t number) {
  std::memcpy(&bytes.at(offset), &number, sizeof number);
}

void put(std::vector<unsigned char>& bytes, std::size_t offset, std::size_t width, char padding,
         const std::string& text) {
  if (text.size() > width || offset + width > bytes.size()) throw std::length_error("no room for " + text);
  const auto field = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
  std::fill_n(field, width, static_cast<unsigned char>(padding));
  std::copy(text.begin(), text.end(), field);
}

std::vector<unsigned char> recordOf(const FakeDrive& drive) {
  std::vector<unsigned char> bytes(kRecordSize, kNoise);
  put(bytes, 0, drive.subVendorID);
  put(bytes, 2, drive.subDeviceID);
  put(bytes, 4, drive.vendorID);
  put(bytes, 6, drive.deviceID);
  bytes[8] = drive.bus;
  bytes[9] = drive.device;
  bytes[10] = drive.function;
  put(bytes, 24, 40, ' ', drive.model);
  put(bytes, 64, 20, ' ', drive.serial);
  return bytes;
}

}  // namespace

FakeDriveLibrary::FakeDriveLibrary() {
  s_current = this;
}

FakeDriveLibrary::~FakeDriveLibrary() {
  s_current = nullptr;
}

void* FakeDriveLibrary::entryPoint(const std::string& symbol) const {
  if (missing.count(symbol) != 0) return nullptr;
  if (symbol == "NVMEDiscoverDrives") return reinterpret_cast<void*>(&discoverDrives);
  if (symbol == "NVMEGetDriveInfo") return reinterpret_cast<void*>(&getDriveInfo);
  if (symbol == "NVMEUpdateFirmware") return reinterpret_cast<void*>(&updateFirmware);
  ADD_FAILURE() << "no entry point of a drive library: " << symbol;
  return nullptr;
}

bool FakeDriveLibrary::recordsUntouched() const {
  return std::equal(m_records.begin(), m_records.end(), m_handedOut.begin(), m_handedOut.end(),
                    [](const auto& record, const Record& before) { return *record == before; });
}

int FakeDriveLibrary::discoverDrives(std::uint32_t* count, NVMeDriveRecord*** list) {
  FakeDriveLibrary& library = *s_current;
  library.calls.emplace_back("discover");
  EXPECT_EQ(*count, 0U);
  EXPECT_EQ(*list, nullptr);
  library.m_list.clear();
  for (const FakeDrive& drive : library.drives) {
    const bool isNull = library.nullEntries.count(library.m_list.size()) != 0;
    library.m_handedOut.push_back(recordOf(drive));
    library.m_records.push_back(std::make_unique<Record>(library.m_handedOut.back()));
    unsigned char* const bytes = library.m_records.back()->data();
    library.m_list.push_back(isNull ? nullptr : reinterpret_cast<NVMeDriveRecord*>(bytes));
  }
  *count = library.count.value_or(static_cast<std::uint32_t>(library.drives.size()));
  if (library.givesList) *list = library.m_list.data();
  return library.discoverResult;
}

int FakeDriveLibrary::getDriveInfo(_NVME_ZOLT_BDF* address, NVMeDriveInfo* info) {
  const FakeDrive& drive = s_current->called("info", *address, "");
  std::vector<unsigned char> bytes(kInfoSize);
  EXPECT_EQ(std::memcmp(info, bytes.data(), kInfoSize), 0) << "the buffer is not zeroed";
  std::fill(bytes.begin(), bytes.end(), kNoise);
  put(bytes, 0, 8, '\0', drive.revision);
  std::memcpy(info, bytes.data(), kInfoSize);
  return drive.infoResult;
}

int FakeDriveLibrary::updateFirmware(_NVME_ZOLT_BDF* address, const char* payloadPath) {
  return s_current->called("update", *address, std::string(" ") + payloadPath).updateResult;
}

const FakeDrive& FakeDriveLibrary::called(const char* operation, const _NVME_ZOLT_BDF& address,
                                          const std::string& arguments) {
  const std::string text = std::to_string(address.bus) + ":" + std::to_string(address.device) + "." +
                           std::to_string(address.function);
  calls.push_back(std::string(operation) + " " + text + arguments);
  const auto drive = std::find_if(drives.begin(), drives.end(), [&address](const FakeDrive& candidate) {
    return candidate.bus == address.bus && candidate.device == address.device &&
           candidate.function == address.function;
  });
  if (drive != drives.end()) return *drive;
  ADD_FAILURE() << "no drive at " << text;
  static const FakeDrive kNone{.infoResult = 1, .updateResult = 1};
  return kNone;
}
