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

/// Reads "domain:bus:device.function" into `controller`, or says there why it cannot be used.
void readAddress(PciController& controller) {
  std::string_view text = controller.addressText;
  const auto domain = parseHexadecimal(cutField(text, ':'), 8);
  const auto bus = parseHexadecimal(cutField(text, ':'), 2);
  const auto device = parseHexadecimal(cutField(text, '.'), 2);
  const auto function = parseHexadecimal(text, 1);
  if (!domain || !bus || !device || !function || *device >= kDevices || *function >= kFunctions) {
    controller.leftOutBecause = "its PCI address cannot be read";
  } else if (*domain != 0) {
    controller.leftOutBecause = "it is in a PCI domain other than 0";
  } else {
    controller.address = {static_cast<std::uint8_t>(*bus), static_cast<std::uint8_t>(*device),
                          static_cast<std::uint8_t>(*function)};
  }
}

/// sysfs writes ids as "0x144d".
bool readId(Host& host, const std::string& controller, const char* name, std::uint16_t& id) {
  const std::string text = host.attribute(controller, name).value_or("");
  if (!text.starts_with("0x")) return false;
  const auto number = parseHexadecimal(std::string_view(text).substr(2), 4);
  id = static_cast<std::uint16_t>(number.value_or(0));
  return number.has_value();
}

PciController describeController(Host& host, const std::string& name) {
  PciController found;
  found.name = name;
  found.addressText = host.attribute(name, "address").value_or("");
  readAddress(found);
  const bool hasIds = readId(host, name, "device/vendor", found.ids.vendor) &&
                      readId(host, name, "device/device", found.ids.device) &&
                      readId(host, name, "device/subsystem_vendor", found.ids.subVendor) &&
                      readId(host, name, "device/subsystem_device", found.ids.subDevice);
  if (!hasIds && found.leftOutBecause.empty()) found.leftOutBecause = "its PCI ids cannot be read";
  return found;
}

void leaveOutAmbiguous(std::vector<PciController>& sorted) {
  for (std::size_t i = 1; i < sorted.size(); ++i) {
    PciController& one = sorted[i - 1];
    PciController& other = sorted[i];
    if (!one.address || one.address != other.address) continue;
    one.leftOutBecause = other.leftOutBecause = "another controller has the same PCI address";
  }
}

}  // namespace

std::string textOf(const PciAddress& address) {
  std::array<char, 16> text{};
  static_cast<void>(std::snprintf(text.data(), text.size(), "0000:%02x:%02x.%x", unsigned{address.bus},
                                  unsigned{address.device}, unsigned{address.function}));
  return text.data();
}

std::vector<PciController> listControllers(Host& host) {
  std::vector<PciController> found;
  for (const std::string& name : host.controllers()) {
    if (host.attribute(name, "transport") == "pcie") found.push_back(describeController(host, name));
  }
  std::sort(found.begin(), found.end(), [](const PciController& a, const PciController& b) {
    return std::tie(a.address, a.name) < std::tie(b.address, b.name);
  });
  leaveOutAmbiguous(found);
  return found;
}

bool isStillThere(Host& host, const PciController& controller) {
  const PciController now = describeController(host, controller.name);
  return now.leftOutBecause.empty() && now.address == controller.address && now.ids == controller.ids;
}

std::optional<unsigned int> parseHexadecimal(std::string_view text, std::size_t digits) {
  if (text.empty() || text.size() > digits) return std::nullopt;
  unsigned int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, 16);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

}  // namespace nvme_linux
