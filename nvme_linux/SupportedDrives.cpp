#include "SupportedDrives.h"

#include <libxml/parser.h>
#include <syslog.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "DescriptorEntries.h"
#include "LibXml.h"

namespace nvme_linux {

namespace {

/// Taken as written: filled up with zeros, as names are looked up, an empty id would become a number.
std::optional<std::uint16_t> parseId(const char* written) {
  constexpr std::size_t kDigits = 4;
  std::string_view text = written == nullptr ? "" : written;
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  while (text.size() > kDigits && text.front() == '0') text.remove_prefix(1);
  const auto number = parseHexadecimal(text, kDigits);
  return number ? std::optional(static_cast<std::uint16_t>(*number)) : std::nullopt;
}

std::set<PciIds> readIds(xmlDoc* document) {
  const auto devices = libxml::select(document, descriptor::kDevices);
  std::set<PciIds> found;
  for (const descriptor::Entry& entry : descriptor::entries(libxml::nodes(devices))) {
    const auto vendor = parseId(entry.id(descriptor::kVendorId));
    const auto device = parseId(entry.id(descriptor::kDeviceId));
    const auto subVendor = parseId(entry.id(descriptor::kSubVendorId));
    const auto subDevice = parseId(entry.id(descriptor::kSubDeviceId));
    if (vendor && device && subVendor && subDevice) found.insert({*vendor, *device, *subVendor, *subDevice});
  }
  return found;
}

}  // namespace

std::set<PciIds> supportedDrives(Host& host) {
  constexpr const char* kPackage = "package.xml";
  const auto report = [&host](const std::string& problem) {
    host.report(LOG_WARNING,
                std::string("NVMe drive library: ") + kPackage + problem + ", so that no drive is supported");
  };
  std::error_code error;
  if (!std::filesystem::exists(kPackage, error)) {
    report(" is missing from the working directory");
    return {};
  }
  const libxml::Owned<xmlDoc> document(xmlReadFile(kPackage, nullptr, XML_PARSE_NONET));
  if (document == nullptr) {
    report(" cannot be parsed");
    return {};
  }
  std::set<PciIds> supported = readIds(document.get());
  if (supported.empty()) report(" names no drive");
  return supported;
}

}  // namespace nvme_linux
