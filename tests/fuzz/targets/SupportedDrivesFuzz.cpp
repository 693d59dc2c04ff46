// The package descriptor as our own drive library and the package check read it, beside the component's
// reader.

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "Checks.h"
#include "FuzzHost.h"
#include "FuzzSupport.h"
#include "SoftwareComponentInfo.h"
#include "SupportedDrives.h"

namespace {

using nvme_linux::PciIds;

/// A number of 16 bits whatever zeros and "0x" stand before it.
bool isId(const std::string& text) {
  const std::size_t start = text.starts_with("0x") || text.starts_with("0X") ? 2 : 0;
  const std::size_t first = std::min(text.find_first_not_of('0', start), text.size());
  return text.size() > start && text.size() - first <= 4 &&
         std::all_of(text.begin() + static_cast<std::ptrdiff_t>(start), text.end(),
                     [](unsigned char c) { return std::isxdigit(c) != 0; });
}

std::uint16_t numberOf(const std::string& text) {
  return static_cast<std::uint16_t>(std::strtoul(text.c_str(), nullptr, 16));
}

PciIds numbersOf(const SPCIInfo& entry) {
  return {.vendor = numberOf(entry.vendorID),
          .device = numberOf(entry.deviceID),
          .subVendor = numberOf(entry.subVendorID),
          .subDevice = numberOf(entry.subDeviceID)};
}

/// An id that is missing or empty is zeros for the component, and no number for the drive library.
bool isCertain(const SPCIInfo& entry) {
  const std::vector<std::string> ids = {entry.vendorID, entry.deviceID, entry.subVendorID, entry.subDeviceID};
  return std::all_of(ids.begin(), ids.end(), [](const auto& id) { return isId(id) && numberOf(id) != 0; });
}

void checkAgainstComponent(const std::set<PciIds>& supported) {
  CSoftwareComponentInfo descriptor;
  std::set<PciIds> known;
  for (const SPCIInfo& entry : descriptor.GetSupportedDevices()) {
    known.insert(numbersOf(entry));
    PROMISE(!isCertain(entry) || supported.contains(numbersOf(entry)));
  }
  for (const PciIds& ids : supported) PROMISE(known.contains(ids));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Scratch::enter().write("package.xml", {data, size});
  const fuzz::LogSwitch log(false);
  fuzz::Host host;
  std::set<PciIds> supported;
  const nvme_linux::SupportedDrives drives = nvme_linux::SupportedDrives::of(host);
  for (const auto& model : drives.models()) supported.insert(model.ids);
  PROMISE(supported.empty() == (host.reports().size() == 1));
  checkAgainstComponent(supported);

  const auto lines = 1 + std::count(data, data + size, std::uint8_t{'\n'}) +
                     std::count(data, data + size, std::uint8_t{'\r'});
  const tool::Findings findings = tool::checkDescriptor("package.xml", false);
  for (const tool::Finding& finding : findings) {
    PROMISE(finding.line >= 0 && finding.line <= lines + 1);
    PROMISE(!finding.problem.empty() && !finding.consequence.empty() && !finding.remedy.empty());
  }
  const bool isUnparsed =
      !host.reports().empty() && host.reports().front().find("cannot be parsed") != std::string::npos;
  PROMISE(!isUnparsed || findings.size() == 1);
  return 0;
}
