// Documents of the component's own writers with any values, read again by the writers' form:
//
//   one byte (bit 0: an update; bit 1: a reboot is due), then for each record a line that begins with
//     'f' (a failure), 'c' (a component) or anything else (a drive), and a line for each of its texts

#include <string>
#include <vector>

#include "DeviceInfo.h"
#include "FuzzSupport.h"
#include "InventoryXMLWriter.h"
#include "Salvage.h"
#include "UpdateXMLWriter.h"

namespace {

constexpr char kName[] = "N";  // of the application, which the tool does not read

template <class Writer>
std::string written(const std::vector<CDeviceInfo*>& records) {
  {
    Writer writer;
    PROMISE(writer.GetXML(records, "document.xml"));
  }
  return fuzz::Scratch::enter().read("document.xml");
}

std::string written(bool isUpdate, const std::vector<CDeviceInfo*>& records) {
  return isUpdate ? written<CUpdateXMLWriter>(records) : written<CInventoryXMLWriter>(records);
}

CDeviceInfo* read(fuzz::Input& input, bool needsReboot) {
  const std::string kind = input.line();
  auto* const record = new CDeviceInfo;
  record->setStatus(kind.starts_with('f') ? 1 : 0);
  record->setDeviceType(kind.starts_with('c') ? CDeviceInfo::DEVICE_TYPE_NONPCI
                                              : CDeviceInfo::DEVICE_TYPE_PCI);
  record->setPCIInfo(static_cast<unsigned short>(kind.size() * 0x1234), 0x1, 0xf101, 0xffff);
  record->setMessageID(static_cast<int>(kind.size()) - 1);
  record->setErrorMsg(input.line());
  record->setDisplay(input.line());
  record->setEnumId(input.line());
  record->setComponentType(input.line());
  record->setVersion(input.line());
  record->setComponentID(input.line());
  record->setDeviceName(kName);
  record->setRebootRequired(needsReboot);
  return record;
}

/// A record with what the tool has read, to be written again.
CDeviceInfo* rebuilt(const tool::Record& read, bool needsReboot) {
  auto* const record = new CDeviceInfo;
  record->setStatus(read.outcome == tool::Outcome::kFailed ? 1 : 0);
  const bool isDrive = !read.pci.vendor.empty();
  record->setDeviceType(isDrive ? CDeviceInfo::DEVICE_TYPE_PCI : CDeviceInfo::DEVICE_TYPE_NONPCI);
  SPCIInfo ids;
  ids.vendorID = read.pci.vendor;
  ids.deviceID = read.pci.device;
  ids.subVendorID = read.pci.subVendor;
  ids.subDeviceID = read.pci.subDevice;
  record->setPCIInfo(ids);
  record->setMessageID(read.messageId);
  record->setErrorMsg(read.message);
  record->setDisplay(read.name);
  record->setEnumId(read.enumId);
  record->setComponentType(read.componentType);
  record->setVersion(read.revision);
  record->setComponentID(read.componentId);
  record->setDeviceName(kName);
  record->setRebootRequired(needsReboot);
  return record;
}

/// Whether no text can be mistaken for the document around it.
bool isHarmless(const std::vector<CDeviceInfo*>& records) {
  for (const CDeviceInfo* record : records) {
    for (const std::string& text :
         {record->getErrorMsg(), record->getDisplay(), record->getEnumId(), record->getComponentType(),
          record->getVersion(), record->getComponentID()}) {
      if (text.find_first_of(std::string("<\"\0", 3)) != std::string::npos) return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Scratch::enter();
  const fuzz::LogSwitch log(false);
  fuzz::Input input(data, size);
  const std::uint8_t flags = input.byte();
  const bool isUpdate = (flags & 1U) != 0;
  const bool needsReboot = isUpdate && (flags & 2U) != 0;
  fuzz::Owned<CDeviceInfo> records({});
  while (!input.empty()) records.list().push_back(read(input, needsReboot));

  const std::string document = written(isUpdate, records.list());
  const tool::Salvage salvaged = tool::salvage(document);
  PROMISE(salvaged.document.has_value() == salvaged.refusal.empty());
  PROMISE(salvaged.document.has_value() || !isHarmless(records.list()));
  if (!salvaged.document) return 0;

  // What was read gives the same bytes again: no value was cut, moved or made up.
  PROMISE(salvaged.document->records.size() == records.list().size());
  fuzz::Owned<CDeviceInfo> again({});
  for (const tool::Record& record : salvaged.document->records)
    again.list().push_back(rebuilt(record, salvaged.document->rebootRequired));
  PROMISE(written(isUpdate, again.list()) == document);
  return 0;
}
