#include "SupportedDrives.h"

#include <libxml/parser.h>
#include <syslog.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "LibXml.h"
#include "PlatformLayer.h"
#include "SoftwareComponentInfo.h"

namespace nvme_linux {

namespace {

/// The reader turns a libxml2 setting off for the whole process; the process shall not notice.
class CParserSettingKept {
 public:
  CParserSettingKept() : m_keepBlanks(xmlKeepBlanksDefault(0)) {}
  ~CParserSettingKept() { xmlKeepBlanksDefault(m_keepBlanks); }
  CParserSettingKept(const CParserSettingKept&) = delete;
  CParserSettingKept& operator=(const CParserSettingKept&) = delete;

 private:
  int m_keepBlanks;
};

std::optional<std::uint16_t> parseId(std::string_view text) {
  constexpr std::size_t kDigits = 4;
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  while (text.size() > kDigits && text.front() == '0') text.remove_prefix(1);
  const auto number = parseHexadecimal(text, kDigits);
  return number ? std::optional(static_cast<std::uint16_t>(*number)) : std::nullopt;
}

/// The ids of the PCIInfo elements among `entries`. They are taken as they stand: the reader's own list of
/// devices fills them up with zeros, and an empty id must not become a number.
std::set<PciIds> readIds(const libxml::Owned<xmlXPathObject>& entries) {
  constexpr std::array kNames{"vendorID", "deviceID", "subVendorID", "subDeviceID"};
  std::set<PciIds> found;
  std::array<std::optional<std::uint16_t>, kNames.size()> ids;
  for (const xmlNode* entry : libxml::nodes(entries)) {
    if (!libxml::isNamed(entry, "PCIInfo")) continue;
    for (std::size_t i = 0; i < kNames.size(); ++i) {
      if (const char* const text = libxml::attribute(entry, kNames.at(i))) ids.at(i) = parseId(text);
    }
    const auto& [vendor, device, subVendor, subDevice] = ids;
    if (vendor && device && subVendor && subDevice) found.insert({*vendor, *device, *subVendor, *subDevice});
  }
  return found;
}

}  // namespace

std::set<PciIds> supportedDrives(Host& host) {
  constexpr const char* kPackage = "package.xml";
  const CParserSettingKept settingKept;
  CSoftwareComponentInfo reader;
  std::set<PciIds> supported;
  const char* problem = " cannot be parsed";
  const libxml::Owned<xmlXPathObject> root(reader.ParseXmlUsingXpath("/*"));
  if (root != nullptr) {
    xmlDoc* const document = libxml::nodes(root).front()->doc;
    supported = readIds(libxml::Owned<xmlXPathObject>(
        reader.GetNodeSet(document, "//SoftwareComponent/SupportedDevices/Device/*")));
    problem = " names no drive";
  } else if (!CPlatformLayer::IsFileExits(kPackage)) {
    problem = " is missing from the working directory";
  }
  if (supported.empty()) {
    host.report(LOG_WARNING,
                std::string("NVMe drive library: ") + kPackage + problem + ", so that no drive is supported");
  }
  return supported;
}

}  // namespace nvme_linux
