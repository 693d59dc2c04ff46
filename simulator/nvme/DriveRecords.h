// The drive library's binary interface, seen from the library's side.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace simulator {

/// A drive's PCI address, as callers pass it in.
struct DriveAddress {
  std::uint8_t bus;
  std::uint8_t device;
  std::uint8_t function;

  auto operator<=>(const DriveAddress&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

static_assert(sizeof(DriveAddress) == 3);

/// One discovered drive. The texts are padded to their width and need not hold a NUL.
struct DriveRecord {
  std::uint16_t subVendorId;
  std::uint16_t subDeviceId;
  std::uint16_t vendorId;
  std::uint16_t deviceId;
  DriveAddress address;
  std::array<std::uint8_t, 13> unused;
  std::array<char, 40> model;
  std::array<char, 20> serial;
};

static_assert(offsetof(DriveRecord, subVendorId) == 0);
static_assert(offsetof(DriveRecord, subDeviceId) == 2);
static_assert(offsetof(DriveRecord, vendorId) == 4);
static_assert(offsetof(DriveRecord, deviceId) == 6);
static_assert(offsetof(DriveRecord, address) == 8);
static_assert(offsetof(DriveRecord, unused) == 11);
static_assert(offsetof(DriveRecord, model) == 24);
static_assert(offsetof(DriveRecord, serial) == 64);
static_assert(sizeof(DriveRecord) == 84);

using Revision = std::array<char, 8>;

/// What a call for a drive's information fills.
struct DriveInformation {
  Revision revision;
  std::array<std::uint8_t, 32> unused;
};

static_assert(offsetof(DriveInformation, revision) == 0);
static_assert(sizeof(DriveInformation) == 40);

}  // namespace simulator
