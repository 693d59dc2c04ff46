// A drive library whose entry points are functions of the test program.

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "NVMeRecords.h"

/// One drive, and what the library says about it. Texts shorter than their field are padded: model and serial
/// number with blanks, the revision with NULs.
struct FakeDrive {
  std::uint16_t deviceID = 0xa808;
  std::uint16_t subDeviceID = 0xa801;
  std::uint16_t vendorID = 0x144d;
  std::uint16_t subVendorID = 0x1a2b;
  std::uint8_t bus = 0x41;
  std::uint8_t device = 0x42;
  std::uint8_t function = 0x43;
  std::string model = "Sample SSD";
  std::string serial = "SN01";
  std::string revision = "EXF0101";
  int infoResult = 0;
  int updateResult = 0;
};

/// A drive library with these drives. Bytes that callers must not read are noise. There is one at a time; the
/// records live as long as it does.
class FakeDriveLibrary {
 public:
  FakeDriveLibrary();
  ~FakeDriveLibrary();
  FakeDriveLibrary(const FakeDriveLibrary&) = delete;
  FakeDriveLibrary& operator=(const FakeDriveLibrary&) = delete;

  std::vector<FakeDrive> drives;
  std::set<std::size_t> nullEntries;   ///< of the list
  std::optional<std::uint32_t> count;  ///< in place of the number of drives
  bool givesList = true;
  int discoverResult = 0;
  std::set<std::string> missing;  ///< entry points

  /// What the entry points were called for, in order: "discover", "info " and an address ("1:2.3"), "update "
  /// with an address and the payload path.
  std::vector<std::string> calls;

  /// The address of an entry point, null for a missing one.
  void* entryPoint(const std::string& symbol) const;

  /// Whether the records are unchanged since discovery.
  bool recordsUntouched() const;

 private:
  using Record = std::vector<unsigned char>;

  static int discoverDrives(std::uint32_t* count, NVMeDriveRecord*** list);
  static int getDriveInfo(_NVME_ZOLT_BDF* address, NVMeDriveInfo* info);
  static int updateFirmware(_NVME_ZOLT_BDF* address, const char* payloadPath);

  /// Records the call and finds the drive at the address.
  const FakeDrive& called(const char* operation, const _NVME_ZOLT_BDF& address, const std::string& arguments);

  std::vector<Record> m_handedOut;
  std::vector<std::unique_ptr<Record>> m_records;
  std::vector<NVMeDriveRecord*> m_list;

  static FakeDriveLibrary* s_current;
};
