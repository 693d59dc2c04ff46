// The drive library's binary interface: entry points of the platform's calling convention and packed records.
// The layouts are fixed by the library; numbers are in host byte order.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#pragma pack(push, 1)

/// A drive's PCI address, zeroed by the caller before it fills it.
// NOLINTNEXTLINE(*-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the library's name for it
struct _NVME_ZOLT_BDF {
  std::uint8_t bus;
  std::uint8_t device;
  std::uint8_t function;
};

/// One discovered drive. Belongs to the library, which never sees it freed or changed. What follows the last
/// field here is not read.
struct NVMeDriveRecord {
  std::uint16_t subVendorID;
  std::uint16_t subDeviceID;
  std::uint16_t vendorID;
  std::uint16_t deviceID;
  std::uint8_t bus;
  std::uint8_t device;
  std::uint8_t function;
  std::array<std::uint8_t, 13> unread;
  std::array<char, 40> modelNumber;   ///< ASCII, padded, as wide as in NVMe Identify Controller; no NUL
  std::array<char, 20> serialNumber;  ///< likewise
};

/// What the library tells about one drive, zeroed by the caller.
struct NVMeDriveInfo {
  std::array<char, 8> firmwareRevision;  ///< ASCII, as wide as in NVMe Identify Controller; no NUL
  std::array<std::uint8_t, 32> unread;
};

#pragma pack(pop)

static_assert(sizeof(_NVME_ZOLT_BDF) == 3);
static_assert(offsetof(_NVME_ZOLT_BDF, bus) == 0);
static_assert(offsetof(_NVME_ZOLT_BDF, device) == 1);
static_assert(offsetof(_NVME_ZOLT_BDF, function) == 2);

static_assert(sizeof(NVMeDriveRecord) == 84);
static_assert(offsetof(NVMeDriveRecord, subVendorID) == 0);
static_assert(offsetof(NVMeDriveRecord, subDeviceID) == 2);
static_assert(offsetof(NVMeDriveRecord, vendorID) == 4);
static_assert(offsetof(NVMeDriveRecord, deviceID) == 6);
static_assert(offsetof(NVMeDriveRecord, bus) == 8);
static_assert(offsetof(NVMeDriveRecord, device) == 9);
static_assert(offsetof(NVMeDriveRecord, function) == 10);
static_assert(offsetof(NVMeDriveRecord, modelNumber) == 24);
static_assert(offsetof(NVMeDriveRecord, serialNumber) == 64);

static_assert(sizeof(NVMeDriveInfo) == 40);
static_assert(offsetof(NVMeDriveInfo, firmwareRevision) == 0);

/// Sets the count of drives and the list of as many records, both the library's. 0: success.
using NVMeDiscoverDrives = int(std::uint32_t* count, NVMeDriveRecord*** drives);
/// Fills `info` for the drive at the address. 0: success.
using NVMeGetDriveInfo = int(_NVME_ZOLT_BDF* address, NVMeDriveInfo* info);
/// Flashes the file at `payloadPath` onto the drive at the address. 0 or 267: success.
using NVMeUpdateFirmware = int(_NVME_ZOLT_BDF* address, const char* payloadPath);
