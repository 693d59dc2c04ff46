#include "ControllerList.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <tuple>

namespace nvme_linux {

namespace {

constexpr unsigned int kDevices = 32;   // on a PCI bus
constexpr unsigned int kFunctions = 8;  // of a PCI device

/// Cuts off and returns the text before `separator`, which goes too; all of it when it does not occur.
std::string_view cutField(std::string_view& text, char separator) {
  const std::string_view field = text.substr(0, text.find(separator));
  text.remove_prefix(std::min(text.size(), field.size() + 1));
  return field;
}

/// What sysfs says of a controller, read or not.
struct Description {
  std::string name;
  std::string addressText;
  std::optional<PciAddress> address;
  std::optional<PciIds> ids;
  std::string problem;  ///< why the address or the ids are missing; empty when they are not

  bool isComplete() const { return address && ids; }
};

/// Reads "domain:bus:device.function".
void readAddress(Description& description) {
  std::string_view text = description.addressText;
  const auto domain = parseHexadecimal(cutField(text, ':'), 8);
  const auto bus = parseHexadecimal(cutField(text, ':'), 2);
  const auto device = parseHexadecimal(cutField(text, '.'), 2);
  const auto function = parseHexadecimal(text, 1);
  if (!domain || !bus || !device || !function || *device >= kDevices || *function >= kFunctions) {
    description.problem = "its PCI address cannot be read";
  } else if (*domain != 0) {
    description.problem = "it is in a PCI domain other than 0";
  } else {
    description.address = {static_cast<std::uint8_t>(*bus), static_cast<std::uint8_t>(*device),
                           static_cast<std::uint8_t>(*function)};
  }
}

/// sysfs writes ids as "0x144d".
std::optional<std::uint16_t> readId(Host& host, const std::string& controller, const char* name) {
  const std::string text = host.attribute(controller, name).value_or("");
  if (!text.starts_with("0x")) return std::nullopt;
  const auto number = parseHexadecimal(std::string_view(text).substr(2), 4);
  return number ? std::optional(static_cast<std::uint16_t>(*number)) : std::nullopt;
}

std::optional<PciIds> readIds(Host& host, const std::string& controller) {
  const auto vendor = readId(host, controller, "device/vendor");
  const auto device = readId(host, controller, "device/device");
  const auto subVendor = readId(host, controller, "device/subsystem_vendor");
  const auto subDevice = readId(host, controller, "device/subsystem_device");
  if (!vendor || !device || !subVendor || !subDevice) return std::nullopt;
  return PciIds{.vendor = *vendor, .device = *device, .subVendor = *subVendor, .subDevice = *subDevice};
}

Description describe(Host& host, const std::string& name) {
  Description description;
  description.name = name;
  description.addressText = host.attribute(name, "address").value_or("");
  description.ids = readIds(host, name);
  if (!description.ids) description.problem = "its PCI ids cannot be read";
  readAddress(description);
  return description;
}

/// `sorted` by address.
bool sharesAddress(const std::vector<Description>& sorted, std::size_t at) {
  const auto& address = sorted[at].address;
  return address && ((at > 0 && sorted[at - 1].address == address) ||
                     (at + 1 < sorted.size() && sorted[at + 1].address == address));
}

}  // namespace

std::string textOf(const PciAddress& address) {
  std::array<char, 16> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "0000:%02x:%02x.%x", unsigned{address.bus},
                                  unsigned{address.device}, unsigned{address.function}));
  return text.data();
}

ControllerList listControllers(Host& host) {
  std::vector<Description> found;
  for (const std::string& name : host.controllers()) {
    if (host.attribute(name, "transport") == "pcie") found.push_back(describe(host, name));
  }
  std::sort(found.begin(), found.end(), [](const Description& a, const Description& b) {
    return std::tie(a.address, a.name) < std::tie(b.address, b.name);
  });
  ControllerList list;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const Description& one = found[i];
    if (sharesAddress(found, i)) {
      list.leftOut.push_back({one.name, one.addressText, "another controller has the same PCI address"});
    } else if (!one.isComplete()) {
      list.leftOut.push_back({one.name, one.addressText, one.problem});
    } else {
      list.usable.push_back({one.name, one.addressText, *one.address, *one.ids});
    }
  }
  return list;
}

bool isStillThere(Host& host, const PciController& controller) {
  const Description now = describe(host, controller.name);
  return now.address == controller.address && now.ids == controller.ids;
}

std::optional<unsigned int> parseHexadecimal(std::string_view text, std::size_t digits) {
  if (text.empty() || text.size() > digits) return std::nullopt;
  unsigned int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace nvme_linux
