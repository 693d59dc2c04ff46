#include "ControllerList.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <tuple>

#include "Identity.h"

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

/// Reads "domain:bus:device.function".
std::optional<PciAddress> parseAddress(std::string_view text) {
  const auto domain = parseHexadecimal(cutField(text, ':'), 8);
  const auto bus = parseHexadecimal(cutField(text, ':'), 2);
  const auto device = parseHexadecimal(cutField(text, '.'), 2);
  const auto function = parseHexadecimal(text, 1);
  if (!domain || !bus || !device || !function || *device >= kDevices || *function >= kFunctions)
    return std::nullopt;
  return PciAddress{.domain = *domain,
                    .bus = static_cast<std::uint8_t>(*bus),
                    .device = static_cast<std::uint8_t>(*device),
                    .function = static_cast<std::uint8_t>(*function)};
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

std::string readText(Host& host, const std::string& controller, const char* name) {
  return trimmed(host.attribute(controller, name).value_or(""));
}

/// "nvme" and a number; the folder may hold other things.
bool isControllerName(std::string_view name) {
  constexpr std::string_view kPrefix = "nvme";
  if (!name.starts_with(kPrefix) || name.size() == kPrefix.size()) return false;
  return name.find_first_not_of("0123456789", kPrefix.size()) == std::string_view::npos;
}

}  // namespace

std::string textOf(const PciAddress& address) {
  std::array<char, 24> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "%04x:%02x:%02x.%x", unsigned{address.domain},
                                  unsigned{address.bus}, unsigned{address.device},
                                  unsigned{address.function}));
  return text.data();
}

PciController describeController(Host& host, const std::string& name) {
  PciController controller;
  controller.name = name;
  controller.addressText = host.attribute(name, "address").value_or("");
  controller.address = parseAddress(controller.addressText);
  controller.ids = readIds(host, name);
  controller.serial = readText(host, name, "serial");
  controller.model = readText(host, name, "model");
  controller.subsystem = readText(host, name, "subsysnqn");
  return controller;
}

std::vector<PciController> listControllers(Host& host) {
  std::vector<PciController> found;
  for (const std::string& name : host.entries("class/nvme")) {
    if (isControllerName(name) && host.attribute(name, "transport") == "pcie")
      found.push_back(describeController(host, name));
  }
  std::sort(found.begin(), found.end(), [](const PciController& a, const PciController& b) {
    return std::tie(a.address, a.name) < std::tie(b.address, b.name);
  });
  return found;
}

bool arePortsOfOneDrive(const PciController& one, const PciController& other) {
  if (one.name == other.name) return true;
  // Some makers give all their drives one NQN: it does not count without serial number and model.
  if (one.serial != other.serial || one.model != other.model || one.subsystem != other.subsystem)
    return false;
  return !one.subsystem.empty() || !one.serial.empty();
}

std::optional<unsigned int> parseHexadecimal(std::string_view text, std::size_t digits) {
  if (text.empty() || text.size() > digits) return std::nullopt;
  unsigned int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace nvme_linux
