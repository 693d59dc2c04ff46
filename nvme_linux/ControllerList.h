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

/// One PCIe controller that callers can be given: no other one has its address.
struct PciController {
  std::string name;         ///< the kernel's, for instance "nvme0"
  std::string addressText;  ///< as sysfs has it, for messages
  PciAddress address;
  PciIds ids;
};

/// One that they cannot be given.
struct LeftOutController {
  std::string name;
  std::string addressText;
  std::string reason;  ///< for the administrator; never empty
};

struct ControllerList {
  std::vector<PciController> usable;  ///< sorted by address
  std::vector<LeftOutController> leftOut;
};

/// All PCIe controllers of the host. Those that sysfs does not describe, that are outside PCI domain 0 or
/// share an address are left out.
ControllerList listControllers(Host& host);

/// True while the kernel's name still means the controller at this address and with these ids: the kernel
/// gives the name of a drive that was pulled to the next one.
bool isStillThere(Host& host, const PciController& controller);

/// A hexadecimal number of one to `digits` digits and nothing else around it; nothing for any other text.
std::optional<unsigned int> parseHexadecimal(std::string_view text, std::size_t digits);

}  // namespace nvme_linux
