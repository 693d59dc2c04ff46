// The package descriptor: every query on one input.

#include <strings.h>

#include "FuzzSupport.h"
#include "SoftwareComponentInfo.h"

namespace {

bool same(const std::string& left, const std::string& right) {
  return strcasecmp(left.c_str(), right.c_str()) == 0;
}

bool sameIds(const SPCIInfo& left, const SPCIInfo& right) {
  return same(left.vendorID, right.vendorID) && same(left.deviceID, right.deviceID) &&
         same(left.subVendorID, right.subVendorID) && same(left.subDeviceID, right.subDeviceID);
}

bool filled(const std::string& id) {
  return id.empty() || id.size() >= 4;
}

void checkComponent(CSoftwareComponentInfo& descriptor) {
  const std::vector<std::string> ids = descriptor.GetComponentIDS();
  PROMISE(descriptor.GetComponentID() == (ids.empty() ? "" : ids.back()));
  static_cast<void>(descriptor.GetComponentType());
  static_cast<void>(descriptor.GetComponentVersion());
  PROMISE(descriptor.GetComponentDisplayString().empty() || !ids.empty());
}

void checkMarketingNames(CSoftwareComponentInfo& descriptor) {
  const std::vector<SPCIInfo> supported = descriptor.GetSupportedDevices();
  for (const SPCIInfo& entry : supported) {
    PROMISE(filled(entry.vendorID) && filled(entry.deviceID));
    PROMISE(filled(entry.subVendorID) && filled(entry.subDeviceID));
  }
  constexpr std::size_t kLookedUp = 2;  // each look-up parses the file again
  for (std::size_t i = 0; i < supported.size() && i < kLookedUp; ++i) {
    std::string last;
    for (const SPCIInfo& entry : supported) {
      if (sameIds(entry, supported[i])) last = entry.displayName;
    }
    SPCIInfo device = supported[i];
    PROMISE(descriptor.getMarketingNameForPCIDevice(device) == last);
  }
}

void checkDependencies(CSoftwareComponentInfo& descriptor) {
  fuzz::Owned<CDeviceInfo> dependencies(descriptor.getDependencyInfo());
  for (CDeviceInfo* record : dependencies.list()) {
    PROMISE(record->getDeviceType() != CDeviceInfo::DEVICE_TYPE_UNKNOWN);
    PROMISE(!descriptor.AddDependencyInfo(dependencies.list(), record));
  }
}

void checkSelection(CSoftwareComponentInfo& descriptor) {
  const libxml::Owned<xmlXPathObject> selection(descriptor.ParseXmlUsingXpath("//* | //@*"));
  PROMISE(selection == nullptr || !libxml::nodes(selection).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Scratch::enter().write("package.xml", {data, size});
  const fuzz::LogSwitch log(size % 2 == 0);
  CSoftwareComponentInfo descriptor;
  checkComponent(descriptor);
  checkMarketingNames(descriptor);
  checkDependencies(descriptor);
  checkSelection(descriptor);
  return 0;
}
