#include "SoftwareComponentInfo.h"

#include <libxml/parser.h>
#include <strings.h>

#include <algorithm>
#include <array>
#include <climits>
#include <istream>
#include <memory>
#include <new>
#include <ostream>
#include <sstream>
#include <utility>

#include "Logger.h"
#include "PlatformLayer.h"
#include "TracedSelection.h"

namespace {

using Selection = libxml::Owned<xmlXPathObject>;

constexpr char kDescriptorName[] = "package.xml";
constexpr char kDevices[] = "//SoftwareComponent/SupportedDevices/Device";
constexpr char kDependencies[] =
    " //SoftwareComponent/SupportedDevices/Device/Dependency | "
    "//SoftwareComponent/SupportedDevices/Device/SoftDependency";
constexpr char QUERYCOMPID[] = "/SVMInventory/Device[@componentID = \"";
constexpr char XPATH_SUFFIX[] = "\"]";

/// What the descriptor says of a supported device. The texts belong to the document, so that a query that
/// returns none of them copies none; an id is null until an element has had it.
struct SupportedDevice {
  const char* componentID = "";
  const char* deviceID = nullptr;
  const char* subDeviceID = nullptr;
  const char* vendorID = nullptr;
  const char* subVendorID = nullptr;
  const char* displayName = "";
};

/// An id's attribute of PCIInfo, and where it is kept.
struct PciAttribute {
  const char* name;
  std::string SPCIInfo::*member;
  const char* SupportedDevice::*text;
};
constexpr std::array<PciAttribute, 4> kPciAttributes{{
    {"deviceID", &SPCIInfo::deviceID, &SupportedDevice::deviceID},
    {"subDeviceID", &SPCIInfo::subDeviceID, &SupportedDevice::subDeviceID},
    {"vendorID", &SPCIInfo::vendorID, &SupportedDevice::vendorID},
    {"subVendorID", &SPCIInfo::subVendorID, &SupportedDevice::subVendorID},
}};

/// Sets the ids that the PCIInfo element supplies, as they stand, and leaves the others as they are.
void readPciIds(const xmlNode* pciInfo, SPCIInfo& ids) {
  for (const PciAttribute& id : kPciAttributes) {
    if (const char* const value = libxml::attribute(pciInfo, id.name)) ids.*id.member = value;
  }
}

/// An id zero-filled to four characters, empty when there is none. As drives give their ids without
/// zero-filling, only ids of four digits meet again.
std::string zeroFilled(const char* text) {
  if (text == nullptr) return {};
  std::string id = text;
  if (id.size() < 4) id.insert(0, 4 - id.size(), '0');
  return id;
}

bool sameIds(const SPCIInfo& drive, const SupportedDevice& supported) {
  return std::all_of(kPciAttributes.begin(), kPciAttributes.end(), [&](const PciAttribute& id) {
    return strcasecmp((drive.*id.member).c_str(), zeroFilled(supported.*id.text).c_str()) == 0;
  });
}

/// The text of the first Display behind `pciInfo` that has one, null without such a sibling.
const char* displayBehind(const xmlNode* pciInfo) {
  for (xmlNode* sibling = pciInfo->next; sibling != nullptr; sibling = sibling->next) {
    if (!libxml::isNamed(sibling, "Display")) continue;
    LOG("CSoftwareComponentInfo::GetSupportedDevices() Found a Display element under Device element");
    if (const char* const text = libxml::firstText(sibling)) return text;
  }
  return nullptr;
}

/// One entry a PCIInfo of the selected Device elements, in document order. An entry begins as a copy of the
/// one before and keeps what its elements do not supply.
std::vector<SupportedDevice> readSupportedDevices(const Selection& devices) {
  std::vector<SupportedDevice> supported;
  SupportedDevice working;
  if (devices == nullptr) {
    LOG("CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression");
  } else {
    LOG("CSoftwareComponentInfo::GetSupportedDevices() Found Some Device Nodes");
  }
  for (const xmlNode* device : libxml::nodes(devices)) {
    LOG("CSoftwareComponentInfo::GetSupportedDevices() Finding the Component ID and PCI Info");
    working.componentID = libxml::attributeOrEmpty(device, "componentID");
    for (const xmlNode* child = device->children; child != nullptr; child = child->next) {
      if (!libxml::isNamed(child, "PCIInfo")) continue;
      LOG("CSoftwareComponentInfo::GetSupportedDevices() Found a PCI Device");
      for (const PciAttribute& id : kPciAttributes) {
        if (const char* const value = libxml::attribute(child, id.name)) working.*id.text = value;
      }
      if (const char* const display = displayBehind(child)) {
        working.displayName = display;
        LOG("CSoftwareComponentInfo::GetSupportedDevices() Got the marketing name/Display name for a PCI Device "
            "as " +
            std::string(display));
      }
      supported.push_back(working);
    }
  }
  LOG("CSoftwareComponentInfo::GetSupportedDevices() Exiting");
  return supported;
}

void logMissing(const char* what) {
  LOG(std::string("CSoftwareComponentInfo::getDependencyInfo() failed to get the ") + what +
      " info from package.xml for dependent device");
}

/// Reads the attributes of a dependency and of its parent.
void readDependencyAttributes(const xmlNode* dependency, CDeviceInfo& record) {
  if (const char* const parent = libxml::attribute(dependency->parent, "componentID")) {
    record.setParentComponentID(parent);
    LOG("CSoftwareComponentInfo::getDependencyInfo() got the parent componentID info from package.xml");
  } else {
    LOG("CSoftwareComponentInfo::getDependencyInfo() failed to get the parent componentID info from "
        "package.xml");
  }
  struct Attribute {
    const char* name;
    void (CDeviceInfo::*set)(std::string);
  };
  static constexpr std::array<Attribute, 5> kAttributes{{{"componentID", &CDeviceInfo::setComponentID},
                                                         {"componentType", &CDeviceInfo::setComponentType},
                                                         {"version", &CDeviceInfo::setVersion},
                                                         {"path", &CDeviceInfo::setFilePath},
                                                         {"releaseID", &CDeviceInfo::setReleaseID}}};
  for (const auto& [name, set] : kAttributes) {
    if (const char* const value = libxml::attribute(dependency, name)) {
      (record.*set)(value);
    } else {
      logMissing(name);
    }
  }
}

/// Reads what a dependency's children say into `record` and appends the identity of each PCIInfo to
/// `identities`. `working` carries the ids over from one PCIInfo to the next.
void readDependencyChildren(const xmlNode* dependency, CDeviceInfo& record, SPCIInfo& working,
                            std::vector<SPCIInfo>& identities) {
  const auto readText = [&record](const xmlNode* child, const char* what,
                                  void (CDeviceInfo::*set)(std::string)) {
    if (const char* const text = libxml::firstText(child)) {
      (record.*set)(text);
    } else {
      logMissing(what);
    }
  };
  for (xmlNode* child = dependency->children; child != nullptr; child = child->next) {
    if (libxml::isNamed(child, "Display")) {
      readText(child, "Display", &CDeviceInfo::setDisplay);
    } else if (libxml::isNamed(child, "Detail")) {
      readText(child, "Detail", &CDeviceInfo::setDetail);
    } else if (libxml::isNamed(child, "PCIInfo")) {
      LOG("CSoftwareComponentInfo::getDependencyInfo() Found a PCI Device");
      record.setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI);
      readPciIds(child, working);
      record.setPCIInfo(working);
      identities.push_back(working);
    }
  }
}

/// Reads everything that a dependency element says about itself.
void readDependency(const xmlNode* dependency, CDeviceInfo& record, SPCIInfo& working,
                    std::vector<SPCIInfo>& identities) {
  record.setDeviceType(CDeviceInfo::DEVICE_TYPE_NONPCI);
  if (libxml::isNamed(dependency, "SoftDependency")) {
    LOG("CSoftwareComponentInfo::getDependencyInfo() Found SoftDependecny");
    record.setDependencyType(CDeviceInfo::DEPENDENCY_SOFT);
  } else {
    LOG("CSoftwareComponentInfo::getDependencyInfo() Found HardDependency");
    record.setDependencyType(CDeviceInfo::DEPENDENCY_HARD);
  }
  readDependencyAttributes(dependency, record);
  readDependencyChildren(dependency, record, working, identities);
}

/// A copy of `model`, null (with a line that says so) when memory runs out.
std::unique_ptr<CDeviceInfo> newRecord(const CDeviceInfo& model) {
  std::unique_ptr<CDeviceInfo> record(new (std::nothrow) CDeviceInfo(model));
  if (record == nullptr) {
    LOG("CSoftwareComponentInfo::getDependencyInfo() new  ( std::nothrow ) CDeviceInfo() failed");
  }
  return record;
}

}  // namespace

CSoftwareComponentInfo::CSoftwareComponentInfo() {
  if (CPlatformLayer::IsFileExits("enabledebug.txt")) CLogger::GetInstance()->Initialize("baseutils.log");
  ParseXMl();
}

void CSoftwareComponentInfo::ParseXMl() {
  xmlKeepBlanksDefault(0);
  m_document.reset();
  m_strDescriptorPath = CPlatformLayer::getCurrentDirectory() + kDescriptorName;
  if (!CPlatformLayer::IsFileExits(kDescriptorName)) return;
  parseDescriptor();
  // The lines name a method "Init"; callers compare them.
  if (m_document == nullptr) {
    LOG("CSoftwareComponentInfo::Init() Document " + m_strDescriptorPath + " not parsed successfully ");
  }
  LOG("CSoftwareComponentInfo::Init() Exiting");
}

void CSoftwareComponentInfo::parseDescriptor() {
  m_document.reset();  // first, so that one document at a time takes memory
  m_document.reset(xmlParseFile(m_strDescriptorPath.c_str()));
}

const char* CSoftwareComponentInfo::GetAttributeValue(const xmlNode* node, const char* name) {
  return libxml::attribute(node, name);
}

xmlXPathObject* CSoftwareComponentInfo::GetNodeSet(xmlDoc* document, const char* expression) {
  static constexpr libxml::SelectTexts kTexts{
      nullptr, "CSoftwareComponentInfo::GetNodeSet() Error in xmlXPathNewContext",
      "CSoftwareComponentInfo::GetNodeSet() Error in xmlXPathEvalExpression",
      "CSoftwareComponentInfo::GetNodeSet() Empty nodeset", "CSoftwareComponentInfo::GetNodeSet() Exiting"};
  return libxml::tracedSelect(document, expression, kTexts, LOG_SITE).release();
}

xmlXPathObject* CSoftwareComponentInfo::getnodeset(xmlDoc* document, const char* expression) {
  static constexpr libxml::SelectTexts kTexts{
      nullptr, "CIdentityModuleInventory::getnodeset :: Error in xmlXPathNewContext",
      "CIdentityModuleInventory::getnodeset :: Error in xmlXPathEvalExpression", nullptr, nullptr};
  return libxml::tracedSelect(document, expression, kTexts, LOG_SITE).release();
}

xmlXPathObject* CSoftwareComponentInfo::ParseXmlUsingXpath(const char* expression) {
  if (!CPlatformLayer::IsFileExits(kDescriptorName)) {
    m_document.reset();
    return nullptr;
  }
  parseDescriptor();
  return GetNodeSet(m_document.get(), expression);
}

xmlXPathObject* CSoftwareComponentInfo::ParseXmlUsingXpath() {
  if (!CPlatformLayer::IsFileExits(kDescriptorName)) return nullptr;
  parseDescriptor();
  xmlXPathObject* const devices = GetNodeSet(m_document.get(), kDevices);
  LOG("CSoftwareComponentInfo::ParseXmlUsingXpath() Exiting");
  return devices;
}

std::string CSoftwareComponentInfo::GetComponentID() {
  const std::vector<std::string> ids = GetComponentIDS();
  return ids.empty() ? std::string() : ids.back();
}

std::vector<std::string> CSoftwareComponentInfo::GetComponentIDS() {
  std::vector<std::string> ids;
  const Selection devices(ParseXmlUsingXpath());
  for (const xmlNode* device : libxml::nodes(devices)) {
    ids.emplace_back(libxml::attributeOrEmpty(device, "componentID"));
  }
  return ids;
}

std::string CSoftwareComponentInfo::GetComponentType() {
  return lastAttribute("//SoftwareComponent/ComponentType", "value");
}

std::string CSoftwareComponentInfo::GetComponentVersion() {
  return lastAttribute("//SoftwareComponent", "vendorVersion");
}

std::string CSoftwareComponentInfo::lastAttribute(const char* expression, const char* attribute) {
  parseDescriptor();
  const Selection selection(GetNodeSet(m_document.get(), expression));
  const auto nodes = libxml::nodes(selection);
  return nodes.empty() ? "" : libxml::attributeOrEmpty(nodes.back(), attribute);
}

std::string CSoftwareComponentInfo::GetComponentDisplayString() {
  const Selection devices(ParseXmlUsingXpath());
  for (xmlNode* device : libxml::nodes(devices)) {
    const xmlNode* const display = xmlFirstElementChild(device);
    if (display == nullptr || !libxml::isNamed(display, "Display")) continue;
    const char* const text = libxml::firstText(display);
    if (text == nullptr) {
      LOG("CSoftwareComponentInfo::GetComponentDisplayString() failed to get the Display info from package.xml "
          "for device");
      return {};
    }
    LOG(std::string("CSoftwareComponentInfo::GetComponentDisplayString()  ") + text + "\n");
    return text;
  }
  return {};
}

std::vector<SPCIInfo> CSoftwareComponentInfo::GetSupportedDevices() {
  std::vector<SPCIInfo> devices;
  for (const SupportedDevice& supported : readSupportedDevices(Selection(ParseXmlUsingXpath(kDevices)))) {
    SPCIInfo& device = devices.emplace_back();
    device.componentID = supported.componentID;
    for (const PciAttribute& id : kPciAttributes) device.*id.member = zeroFilled(supported.*id.text);
    device.displayName = supported.displayName;
  }
  return devices;
}

std::string CSoftwareComponentInfo::getMarketingNameForPCIDevice(SPCIInfo& device) {
  const char* name = "";
  for (const SupportedDevice& supported : readSupportedDevices(Selection(ParseXmlUsingXpath(kDevices)))) {
    LOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Finding a match with PCI Device");
    if (!sameIds(device, supported)) continue;
    name = supported.displayName;  // and on: the last match wins
    LOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Found a match with PCI Devices from "
        "package.xml");
  }
  LOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Exiting");
  return name;
}

std::vector<CDeviceInfo*> CSoftwareComponentInfo::getDependencyInfo() {
  LOG("CSoftwareComponentInfo::getDependencyInfo() Entered Method");
  std::vector<CDeviceInfo*> list;
  const Selection dependencies(ParseXmlUsingXpath(kDependencies));
  if (dependencies == nullptr) {
    LOG("CSoftwareComponentInfo::getDependencyInfo() ParseXmlUsingXpath failed");
    return list;
  }
  const auto add = [this, &list](std::unique_ptr<CDeviceInfo> record) {
    if (AddDependencyInfo(list, record.get())) static_cast<void>(record.release());
  };
  SPCIInfo working;
  for (const xmlNode* dependency : libxml::nodes(dependencies)) {
    std::unique_ptr<CDeviceInfo> record = newRecord({});
    if (record == nullptr) return list;
    std::vector<SPCIInfo> identities;
    readDependency(dependency, *record, working, identities);
    for (const SPCIInfo& identity : identities) {
      std::unique_ptr<CDeviceInfo> pciRecord = newRecord(*record);
      if (pciRecord == nullptr) return list;
      pciRecord->setPCIInfo(identity);
      add(std::move(pciRecord));
      LOG("CSoftwareComponentInfo::getDependencyInfo() Adding dependency info for a PCI Device");
    }
    if (identities.empty()) add(std::move(record));
  }
  LOG("CSoftwareComponentInfo::getDependencyInfo() Exiting");
  return list;
}

bool CSoftwareComponentInfo::AddDependencyInfo(std::vector<CDeviceInfo*>& list, CDeviceInfo* record) {
  for (const CDeviceInfo* known : list) {
    if (*known == *record) {
      LOG("CSoftwareComponentInfo::AddDependencyInfo() Found a duplicate entry");
      return false;
    }
  }
  list.push_back(record);
  return true;
}

bool CSoftwareComponentInfo::GetInvFromVNL(const std::string& componentID, std::ostream& output,
                                           std::istream& input) {
  input.clear();
  input.seekg(0);
  std::ostringstream whole;
  whole << input.rdbuf();
  const std::string text = whole.str();
  if (text.size() > INT_MAX) return false;
  const libxml::Owned<xmlDoc> inventory(xmlParseMemory(text.data(), static_cast<int>(text.size())));
  if (inventory == nullptr) return false;

  const Selection devices(getnodeset(inventory.get(), (QUERYCOMPID + componentID + XPATH_SUFFIX).c_str()));
  if (devices == nullptr) {
    LOG("CIdentityModuleInventory::GetInvFromVNL:: component ID not found");
    return true;
  }
  LOG("CIdentityModuleInventory::GetInvFromVNL:: component ID found");
  for (xmlNode* device : libxml::nodes(devices)) {
    const libxml::Owned<xmlBuffer> buffer(xmlBufferCreate());
    if (buffer == nullptr) return false;
    xmlNodeDump(buffer.get(), inventory.get(), device, 0, 1);
    if (const xmlChar* const dump = xmlBufferContent(buffer.get())) {
      output << reinterpret_cast<const char*>(dump);
    } else {
      output.setstate(std::ios::badbit);
    }
  }
  return true;
}
