#include "DeviceInventoryInfo.h"

#include <libxml/parser.h>
#include <strings.h>

#include <memory>
#include <new>
#include <utility>

#include "Logger.h"
#include "TracedSelection.h"

namespace {

using Selection = libxml::Owned<xmlXPathObject>;

void append(std::vector<CDeviceInfo*>& list, std::unique_ptr<CDeviceInfo> record) {
  list.push_back(record.get());
  static_cast<void>(record.release());
}

/// Reads what a Device element says; what it lacks stays as it is.
void readDevice(xmlNode* device, CDeviceInfo& record) {
  // The component id decides the type, also for an element that has PCI ids besides.
  if (const char* const componentID = libxml::attribute(device, "componentID")) {
    record.setComponentID(componentID);
    record.setDeviceType(CDeviceInfo::DEVICE_TYPE_NONPCI);
  } else if (const char* const vendorID = libxml::attribute(device, "vendorID")) {
    record.setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI);
    SPCIInfo pci;
    pci.vendorID = vendorID;
    pci.deviceID = libxml::attributeOrEmpty(device, "deviceID");
    pci.subVendorID = libxml::attributeOrEmpty(device, "subVendorID");
    pci.subDeviceID = libxml::attributeOrEmpty(device, "subDeviceID");
    record.setPCIInfo(pci);
  }
  if (const char* const display = libxml::attribute(device, "display")) record.setDeviceName(display);
  // Whatever its name is: documents have nothing but the Application there.
  const xmlNode* const application = xmlFirstElementChild(device);
  if (const char* const type = libxml::attribute(application, "componentType")) record.setComponentType(type);
  if (const char* const version = libxml::attribute(application, "version")) record.setVersion(version);
}

}  // namespace

CDeviceInventoryInfo::CDeviceInventoryInfo(const std::string& path) : m_strInventoryFilePath(path) {
  xmlKeepBlanksDefault(0);
}

CDeviceInventoryInfo::~CDeviceInventoryInfo() {
  // Without an ending of its own, unlike other lines of its kind; callers compare it.
  LOG("CDeviceInventoryInfo::~CDeviceInventoryInfo");
}

xmlXPathObject* CDeviceInventoryInfo::GetNodeSet(const char* expression) {
  static constexpr libxml::SelectTexts kTexts{
      "CDeviceInventoryInfo::GetNodeSet() Start",
      "CDeviceInventoryInfo::GetNodeSet() Error in xmlXPathNewContext",
      "CDeviceInventoryInfo::GetNodeSet() Error in xmlXPathEvalExpression",
      "CDeviceInventoryInfo::GetNodeSet() Empty nodeset", "CDeviceInventoryInfo::GetNodeSet() END"};
  return libxml::tracedSelect(m_document.get(), expression, kTexts, LOG_SITE).release();
}

const char* CDeviceInventoryInfo::GetAttributeValue(const xmlNode* node, const char* name) {
  if (node == nullptr || name == nullptr) {
    LOG("CDeviceInventoryInfo::GetAttributeValue() NULL == cur || NULL == propName");
  }
  return libxml::attribute(node, name);
}

bool CDeviceInventoryInfo::GetInventoryStatus(std::string& message) {
  const Selection statuses(
      GetNodeSet("//SVMInventory/Device/Application/SPStatus | //SVMInventory/SPStatus"));
  if (statuses == nullptr) {
    LOG("CDeviceInventoryInfo::GetInventoryStatus() pXpathObj is NULL");
    return true;
  }
  for (xmlNode* status : libxml::nodes(statuses)) {
    const char* const result = libxml::attribute(status, "result");
    // One failed status makes the whole document a failure; its records cannot be told apart.
    if (result == nullptr || strcasecmp(result, "false") != 0) continue;
    if (const char* const text = libxml::firstText(xmlFirstElementChild(status))) {
      message = text;
      LOG("CDeviceInventoryInfo::GetInventoryStatus() got message");
      LOG(message);
    }
    return false;
  }
  return true;
}

std::vector<CDeviceInfo*> CDeviceInventoryInfo::GetDeviceInfo() {
  std::vector<CDeviceInfo*> list;
  if (m_strInventoryFilePath.empty()) {
    LOG("Inventory file path is empty ");
    return list;
  }
  m_document.reset(xmlParseFile(m_strInventoryFilePath.c_str()));
  if (m_document == nullptr) {
    LOG("CDeviceInventoryInfo::GetDeviceInfo() Document " + m_strInventoryFilePath + "  parsing failed ");
    return list;
  }
  const Selection devices(GetNodeSet("//SVMInventory//Device"));
  if (devices == nullptr) {
    LOG("CDeviceInventoryInfo::GetDeviceInfo() pXpathObj is NULL");
    // A document that holds a failure and no Device still yields one record, so that the failure reaches the
    // caller.
    std::unique_ptr<CDeviceInfo> record(new (std::nothrow) CDeviceInfo);
    if (record != nullptr && markFailed(*record)) append(list, std::move(record));
  }
  for (xmlNode* device : libxml::nodes(devices)) {
    std::unique_ptr<CDeviceInfo> record(new (std::nothrow) CDeviceInfo);
    if (record == nullptr) return list;
    // Asks the whole document for every Device, which takes time that grows with the square of their number.
    // The lines that it writes on the way are part of the log that callers compare.
    markFailed(*record);
    readDevice(device, *record);
    append(list, std::move(record));
  }
  return list;
}

bool CDeviceInventoryInfo::markFailed(CDeviceInfo& record) {
  std::string message;
  if (GetInventoryStatus(message)) return false;
  record.setErrorMsg(message);
  record.setStatus(1);
  return true;
}
