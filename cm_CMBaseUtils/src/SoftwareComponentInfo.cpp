#include "SoftwareComponentInfo.h"

#include <libxml/parser.h>
#include <strings.h>

#include <array>
#include <climits>
#include <istream>
#include <memory>
#include <new>
#include <ostream>
#include <sstream>
#include <utility>

#include "DescriptorEntries.h"
#include "Logger.h"
#include "PlatformLayer.h"
#include "TracedSelection.h"

namespace {

using Selection = libxml::Owned<xmlXPathObject>;

constexpr char kDescriptorName[] = "package.xml";
// The blank at the start changes nothing.
constexpr char kDependencies[] =
    " //SoftwareComponent/SupportedDevices/Device/Dependency | "
    "//SoftwareComponent/SupportedDevices/Device/SoftDependency";
constexpr char QUERYCOMPID[] = "/SVMInventory/Device[@componentID = \"";
constexpr char XPATH_SUFFIX[] = "\"]";

/// The ids as they stand, empty where there is none.
SPCIInfo asWritten(const descriptor::Ids& ids) {
  const auto text = [&ids](descriptor::Id which) {
    const char* const id = libxml::value(ids.at(which));
    return std::string(id == nullptr ? "" : id);
  };
  SPCIInfo info;
  info.deviceID = text(descriptor::kDeviceId);
  info.subDeviceID = text(descriptor::kSubDeviceId);
  info.vendorID = text(descriptor::kVendorId);
  info.subVendorID = text(descriptor::kSubVendorId);
  return info;
}

/// True when the drive's id equals the entry's zero-filled one. Drives give their ids without zero-filling,
/// so only ids of four digits ever meet; callers rely on that.
bool matches(const std::string& driveId, const descriptor::Entry& entry, descriptor::Id which) {
  return strcasecmp(driveId.c_str(), descriptor::zeroFilled(entry.id(which)).c_str()) == 0;
}

bool matches(const SPCIInfo& drive, const descriptor::Entry& entry) {
  return matches(drive.deviceID, entry, descriptor::kDeviceId) &&
         matches(drive.subDeviceID, entry, descriptor::kSubDeviceId) &&
         matches(drive.vendorID, entry, descriptor::kVendorId) &&
         matches(drive.subVendorID, entry, descriptor::kSubVendorId);
}

/// Logs what the reading of one entry comes to.
void traceEntry(const descriptor::Entry& entry) {
  LOG("CSoftwareComponentInfo::GetSupportedDevices() Found a PCI Device");
  for (unsigned int i = 0; i < entry.displaysPassed; ++i) {
    LOG("CSoftwareComponentInfo::GetSupportedDevices() Found a Display element under Device element");
  }
  if (entry.hasOwnDisplay) {
    LOG(std::string(
            "CSoftwareComponentInfo::GetSupportedDevices() Got the marketing name/Display name for a PCI "
            "Device as ") +
        entry.name());
  }
}

/// The entries of the selected Device elements, with a line for every element on the way.
std::vector<descriptor::Entry> readEntries(const Selection& devices) {
  if (devices == nullptr) {
    LOG("CSoftwareComponentInfo::GetSupportedDevices() Error during calculating xpath expression");
  } else {
    LOG("CSoftwareComponentInfo::GetSupportedDevices() Found Some Device Nodes");
  }
  const auto deviceNodes = libxml::nodes(devices);
  // The walk itself is silent, so that others can use it; its lines are written from what it found.
  std::vector<descriptor::Entry> entries = descriptor::entries(deviceNodes);
  auto entry = entries.cbegin();
  for (const xmlNode* device : deviceNodes) {
    LOG("CSoftwareComponentInfo::GetSupportedDevices() Finding the Component ID and PCI Info");
    for (; entry != entries.cend() && entry->device() == device; ++entry) traceEntry(*entry);
  }
  LOG("CSoftwareComponentInfo::GetSupportedDevices() Exiting");
  return entries;
}

void logMissing(const char* what) {
  LOG(std::string("CSoftwareComponentInfo::getDependencyInfo() failed to get the ") + what +
      " info from package.xml for dependent device");
}

/// Reads the attributes of a dependency and of its parent.
void readDependencyAttributes(const xmlNode* dependency, CDeviceInfo& record) {
  // What is missing is only logged: a dependency without a version is still a dependency.
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
void readDependencyChildren(const xmlNode* dependency, CDeviceInfo& record, descriptor::Ids& working,
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
      descriptor::readIds(child, working);
      // As written, without zero-filling: dependencies are compared with each other, never with a drive.
      identities.push_back(asWritten(working));
      record.setPCIInfo(identities.back());
    }
  }
}

/// Reads everything that a dependency element says about itself.
void readDependency(const xmlNode* dependency, CDeviceInfo& record, descriptor::Ids& working,
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
  // There is a reader per drive. The second one finds the log open, and a second start silences it; callers
  // depend on that.
  if (CPlatformLayer::IsFileExits("enabledebug.txt")) CLogger::GetInstance()->Initialize("baseutils.log");
  ParseXMl();
}

void CSoftwareComponentInfo::ParseXMl() {
  // For the whole process and for good. The documents that other readers parse later lose their blank text
  // nodes too, which changes what their first child is.
  xmlKeepBlanksDefault(0);
  m_document.reset();
  m_strDescriptorPath = CPlatformLayer::getCurrentDirectory() + kDescriptorName;
  // Asked first, because libxml2 would complain about a missing file on standard error.
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
  // Parsed anew for each query: the file may have changed, and callers see the change.
  parseDescriptor();
  return GetNodeSet(m_document.get(), expression);
}

xmlXPathObject* CSoftwareComponentInfo::ParseXmlUsingXpath() {
  if (!CPlatformLayer::IsFileExits(kDescriptorName)) return nullptr;
  parseDescriptor();
  xmlXPathObject* const devices = GetNodeSet(m_document.get(), descriptor::kDevices);
  LOG("CSoftwareComponentInfo::ParseXmlUsingXpath() Exiting");
  return devices;
}

// A descriptor may list several Devices; the last one stands for the component.
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
    // Only a Display that stands first names its Device as a whole; one after a PCIInfo names that drive
    // model.
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
  const Selection selection(ParseXmlUsingXpath(descriptor::kDevices));
  for (const descriptor::Entry& entry : readEntries(selection)) {
    devices.push_back({.componentID = libxml::attributeOrEmpty(entry.device(), "componentID"),
                       .deviceID = descriptor::zeroFilled(entry.id(descriptor::kDeviceId)),
                       .subDeviceID = descriptor::zeroFilled(entry.id(descriptor::kSubDeviceId)),
                       .vendorID = descriptor::zeroFilled(entry.id(descriptor::kVendorId)),
                       .subVendorID = descriptor::zeroFilled(entry.id(descriptor::kSubVendorId)),
                       .displayName = entry.name()});
  }
  return devices;
}

std::string CSoftwareComponentInfo::getMarketingNameForPCIDevice(SPCIInfo& device) {
  std::string name;
  const Selection selection(ParseXmlUsingXpath(descriptor::kDevices));
  for (const descriptor::Entry& entry : readEntries(selection)) {
    LOG("CSoftwareComponentInfo::getMarketingNameForPCIDevice() Finding a match with PCI Device");
    if (!matches(device, entry)) continue;
    name = entry.name();  // no break: the last match wins
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
    // A record that the list already has is not added; its owner here deletes it.
    if (AddDependencyInfo(list, record.get())) static_cast<void>(record.release());
  };
  descriptor::Ids
      working{};  // for the whole list: an id that a PCIInfo lacks is inherited from the one before
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
    // The record itself is only the template for those with an identity.
    if (identities.empty()) add(std::move(record));
  }
  LOG("CSoftwareComponentInfo::getDependencyInfo() Exiting");
  return list;
}

bool CSoftwareComponentInfo::AddDependencyInfo(std::vector<CDeviceInfo*>& list, CDeviceInfo* record) {
  // Packages list the same dependency under several Devices; its caller wants to install it once.
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
  // The caller may have read from the stream before, up to its end.
  input.clear();
  input.seekg(0);
  std::ostringstream whole;
  whole << input.rdbuf();
  const std::string text = whole.str();
  // libxml2 takes the size as an int.
  if (text.size() > INT_MAX) return false;
  const libxml::Owned<xmlDoc> inventory(xmlParseMemory(text.data(), static_cast<int>(text.size())));
  if (inventory == nullptr) return false;

  const Selection devices(getnodeset(inventory.get(), (QUERYCOMPID + componentID + XPATH_SUFFIX).c_str()));
  if (devices == nullptr) {
    // Not a failure: a document without the component has been read completely.
    LOG("CIdentityModuleInventory::GetInvFromVNL:: component ID not found");
    return true;
  }
  LOG("CIdentityModuleInventory::GetInvFromVNL:: component ID found");
  for (xmlNode* device : libxml::nodes(devices)) {
    const libxml::Owned<xmlBuffer> buffer(xmlBufferCreate());
    if (buffer == nullptr) return false;
    xmlNodeDump(buffer.get(), inventory.get(), device, 0, 1);
    // What a stream does with a null text, without handing it one.
    if (const xmlChar* const dump = xmlBufferContent(buffer.get())) {
      output << reinterpret_cast<const char*>(dump);
    } else {
      output.setstate(std::ios::badbit);
    }
  }
  return true;
}
