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
  std::uint16_t vendor{};
  std::uint16_t device{};
  std::uint16_t subVendor{};
  std::uint16_t subDevice{};

  auto operator<=>(const PciIds&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

struct PciAddress {
  std::uint32_t domain = 0;  ///< above 16 bits behind a controller such as VMD
  std::uint8_t bus = 0;
  std::uint8_t device = 0;
  std::uint8_t function = 0;

  auto operator<=>(const PciAddress&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

/// As the kernel writes it: "0000:01:00.0".
std::string textOf(const PciAddress& address);

/// One PCIe controller, as sysfs describes it. Texts are without padding, and empty when they cannot be read.
struct PciController {
  std::string name{};         ///< the kernel's, for instance "nvme0"
  std::string addressText{};  ///< for messages
  std::optional<PciAddress> address{};
  std::optional<PciIds> ids{};
  std::string serial{};     ///< the drive's, as the kernel remembers it from when it found the drive
  std::string model{};      ///< likewise
  std::string subsystem{};  ///< the NVM subsystem's NQN; all controllers of a drive have the same one

  bool operator==(const PciController&) const = default;

  /// What a message about the controller begins with: "NVMe drive 0000:01:00.0".
  std::string subject() const { return "NVMe drive " + addressText; }
};

/// The controller as sysfs describes it now.
PciController describeController(Host& host, const std::string& name);

/// All PCIe controllers of the host, sorted by address and then by name, those without an address first.
std::vector<PciController> listControllers(Host& host);

/// True when two controllers are ports of one drive: same subsystem, serial number and model. Where the drive
/// has no NQN, serial number and model decide; where it has no serial number either, nothing tells.
bool arePortsOfOneDrive(const PciController& one, const PciController& other);

/// A hexadecimal number of one to `digits` digits and nothing else around it; nothing for any other text.
std::optional<unsigned int> parseHexadecimal(std::string_view text, std::size_t digits);

}  // namespace nvme_linux
