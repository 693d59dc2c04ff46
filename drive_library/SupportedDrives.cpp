#include "SupportedDrives.h"

#include <libxml/parser.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "SoftwareComponentInfo.h"

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

/// The reader fills ids up with zeros to four characters, also in front of a "0x", but cuts none off.
std::optional<std::uint16_t> parseId(std::string_view text) {
  constexpr std::size_t kDigits = 4;
  const std::string_view behindZeros = text.substr(std::min(text.find_first_not_of('0'), text.size()));
  if (behindZeros.size() < text.size() && (behindZeros.starts_with('x') || behindZeros.starts_with('X')))
    text = behindZeros.substr(1);
  while (text.size() > kDigits && text.front() == '0') text.remove_prefix(1);
  const auto number = parseHexadecimal(text, kDigits);
  return number ? std::optional(static_cast<std::uint16_t>(*number)) : std::nullopt;
}

}  // namespace

std::set<SPciIds> supportedDrives() {
  const CParserSettingKept settingKept;
  std::set<SPciIds> supported;
  for (const SPCIInfo& entry : CSoftwareComponentInfo().GetSupportedDevices()) {
    const auto vendor = parseId(entry.vendorID);
    const auto device = parseId(entry.deviceID);
    const auto subVendor = parseId(entry.subVendorID);
    const auto subDevice = parseId(entry.subDeviceID);
    if (vendor && device && subVendor && subDevice) {
      supported.insert({*vendor, *device, *subVendor, *subDevice});
    }
  }
  return supported;
}
