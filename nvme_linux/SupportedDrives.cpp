#include "SupportedDrives.h"

#include <libxml/parser.h>
#include <syslog.h>

#include <algorithm>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <system_error>

#include "DescriptorEntries.h"
#include "Identity.h"
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

std::optional<PciIds> idsOf(const descriptor::Entry& entry) {
  const auto vendor = parseId(entry.id(descriptor::kVendorId));
  const auto device = parseId(entry.id(descriptor::kDeviceId));
  const auto subVendor = parseId(entry.id(descriptor::kSubVendorId));
  const auto subDevice = parseId(entry.id(descriptor::kSubDeviceId));
  if (!vendor || !device || !subVendor || !subDevice) return std::nullopt;
  return PciIds{.vendor = *vendor, .device = *device, .subVendor = *subVendor, .subDevice = *subDevice};
}

/// An empty key is one that no drive has, rather than none: a mistake must not widen the package.
std::optional<std::string> key(const xmlNode* element, const char* name) {
  const char* const value = libxml::attribute(element, name);
  return value == nullptr ? std::nullopt : std::optional(trimmed(value));
}

std::set<SupportedModel> readModels(xmlDoc* document) {
  const auto devices = libxml::select(document, descriptor::kDevices);
  std::set<SupportedModel> models;
  for (const descriptor::Entry& entry : descriptor::entries(libxml::nodes(devices))) {
    const auto ids = idsOf(entry);
    if (ids) models.insert({*ids, key(entry.pciInfo, "model"), key(entry.pciInfo, "fromRevision")});
  }
  return models;
}

bool isNamedBy(const SupportedModel& supported, const PciController& controller) {
  return controller.ids == supported.ids && (!supported.model || *supported.model == controller.model);
}

/// A link to nowhere counts as a file, and so does what cannot be looked at: neither may open a door.
bool exists(const std::string& path) {
  std::error_code error;
  return std::filesystem::symlink_status(path, error).type() != std::filesystem::file_type::not_found;
}

}  // namespace

SupportedDrives SupportedDrives::of(Host& host, const std::string& folder) {
  const std::string path = folder + "/package.xml";
  const auto none = [&host](const std::string& problem) {
    host.report(LOG_WARNING,
                "NVMe drive library: package.xml " + problem + ", so that no drive is supported");
    return SupportedDrives({});
  };
  if (!exists(path)) return none("is missing from the working directory");
  // Each call parses the file again, as the component does: callers may replace it between two operations.
  const libxml::Owned<xmlDoc> document(xmlReadFile(path.c_str(), nullptr, XML_PARSE_NONET));
  if (document == nullptr) return none("cannot be parsed");
  std::set<SupportedModel> found = readModels(document.get());
  return found.empty() ? none("names no drive") : SupportedDrives(std::move(found));
}

bool SupportedDrives::names(const PciController& controller) const {
  return std::any_of(m_models.begin(), m_models.end(),
                     [&](const SupportedModel& supported) { return isNamedBy(supported, controller); });
}

bool SupportedDrives::allowsUpdateFrom(const PciController& controller, const std::string& revision) const {
  return std::any_of(m_models.begin(), m_models.end(), [&](const SupportedModel& supported) {
    return isNamedBy(supported, controller) &&
           (!supported.fromRevision || *supported.fromRevision == revision);
  });
}

std::optional<std::set<std::string>> allowedSerials(Host& host, const std::string& folder) {
  constexpr std::size_t kLongestList = 1U << 20;
  const std::string path = folder + "/drives.allow";
  if (!exists(path)) return std::nullopt;
  std::vector<std::uint8_t> content;
  if (const Outcome outcome = host.readFile(path, kLongestList, content); !outcome.isSuccess()) {
    host.report(LOG_ERR, "NVMe drive library: drives.allow cannot be read, so that no drive is allowed: " +
                             outcome.text());
    return std::set<std::string>();
  }
  std::set<std::string> serials;
  std::istringstream lines(std::string(content.begin(), content.end()));
  for (std::string line; std::getline(lines, line);) {
    if (std::string serial = trimmed(line); !serial.empty()) serials.insert(std::move(serial));
  }
  return serials;
}

}  // namespace nvme_linux
