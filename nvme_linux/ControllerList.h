#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Host.h"

namespace nvme_linux {

/// The four ids that tell one drive model from another.
struct PciIds {
  std::uint16_t vendor = 0;
  std::uint16_t device = 0;
  std::uint16_t subVendor = 0;
  std::uint16_t subDevice = 0;

  auto operator<=>(const PciIds&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

/// Where a drive sits in PCI domain 0, the only one that callers can name.
struct PciAddress {
  std::uint8_t bus = 0;
  std::uint8_t device = 0;
  std::uint8_t function = 0;

  auto operator<=>(const PciAddress&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

/// As the kernel writes it: "0000:01:00.0".
std::string textOf(const PciAddress& address);

/// One PCIe controller that the kernel drives.
struct PciController {
  std::string name;                   ///< the kernel's, for instance "nvme0"
  std::string addressText;            ///< as sysfs has it, for messages
  std::optional<PciAddress> address;  ///< none outside domain 0
  PciIds ids;
  std::string leftOutBecause;  ///< why callers cannot be given it; empty: address and ids are set and its own
};

/// All PCIe controllers that sysfs lists, sorted by address: also those that callers cannot be given, because
/// sysfs does not describe them, they are outside domain 0 or another one has their address.
std::vector<PciController> listControllers(Host& host);

/// True while the kernel's name still means the controller at this address and with these ids: the kernel
/// gives the name of a drive that was pulled to the next one.
bool isStillThere(Host& host, const PciController& controller);

/// A hexadecimal number of one to `digits` digits and nothing else around it; nothing for any other text.
std::optional<unsigned int> parseHexadecimal(std::string_view text, std::size_t digits);

}  // namespace nvme_linux
