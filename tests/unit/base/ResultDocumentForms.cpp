#include "ResultDocumentForms.h"

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "InventoryXMLWriter.h"
#include "UpdateXMLWriter.h"
#include "XMLWriter.h"

namespace {

template <class Writer>
void writeThroughInterface(const Devices& devices, const std::string& name) {
  const std::unique_ptr<IDeviceXMLWriter> writer = std::make_unique<Writer>();
  EXPECT_TRUE(writer->GetXML(devices, name));
}

}  // namespace

const DocumentForm kForms[4] = {
    {
        .name = "inventory",
        .start = R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">)",
        .end = R"(</SVMInventory>)",
        .drive = R"(<Device  vendorID="{vendor}" deviceID="{device}")"
                 R"( subVendorID="{subvendor}" subDeviceID="{subdevice}"  display="{display}" {enum}>)"
                 R"(<Application componentType="{type}"  version="{version}"  display="{name}"/></Device>)",
        .component = R"(<Device  componentID="{component}" display="{display}" {enum}>)"
                     R"(<Application componentType="{type}" version="{version}" display="{name}"/></Device>)",
        .failure = R"(<SPStatus result = "false" ><Message id="{id}" >{text}</Message></SPStatus>)",
        .write = writeThroughInterface<CInventoryXMLWriter>,
    },
    {
        .name = "update",
        .start = R"(<?xml version="1.0" encoding="UTF-8"?><SVMExecution lang="en">)",
        .end = R"(</SVMExecution>)",
        .drive = R"(<Device  vendorID="{vendor}" deviceID="{device}")"
                 R"( subVendorID="{subvendor}" subDeviceID="{subdevice}" display="{display}" {enum}>)"
                 R"(<Application componentType="{type}" version="{version}" display="{name}" >)"
                 R"(<SPStatus result = "true" ><Message id="{id}" >{text}</Message></SPStatus>)"
                 R"(</Application></Device>)",
        .component = R"(<Device  componentID="{component}" display="{display}" {enum}>)"
                     R"(<Application componentType="{type}" version="{version}" display="{name}" >)"
                     R"(<SPStatus result = "true" ><Message id="{id}" >{text}</Message></SPStatus>)"
                     R"(</Application></Device>)",
        .failure = R"(<SPStatus result = "false" ><Message id="{id}" >{text}</Message></SPStatus>)",
        .write = writeThroughInterface<CUpdateXMLWriter>,
    },
    {
        .name = "plain inventory",
        .start = R"(<?xml version="1.0" encoding="UTF-8"?><SVMInventory lang="en">)",
        .end = R"(</SVMInventory>)",
        .drive = "",
        .component = R"(<Device  componentID="{component}" display="{name}">)"
                     R"(<Application componentType="{type}" version="{version}" display="{name}"/></Device>)",
        .failure = R"(<SPStatus result = "false" ><Message id="{id}">{text}</Message></SPStatus>)",
        .write =
            [](const Devices& devices, const std::string& name) {
              CXMLWriter writer;
              writer.SetFileName(name);
              EXPECT_EQ(writer.writeInventoryXml(devices), 1);
            },
    },
    {
        .name = "plain update",
        .start = R"(<?xml version="1.0" encoding="UTF-8"?><SVMExecution lang="en">)",
        .end = R"(</SVMExecution>)",
        .drive = "",
        .component = R"(<Device  componentID="{component}" display="{name}">)"
                     R"(<Application componentType="{type}" version="{version}" display="{name}")"
                     R"( packageVersion="{version}">)"
                     R"(<SPStatus result = "true" ><Message id="{id}">{text}</Message></SPStatus>)"
                     R"(</Application></Device>)"
                     R"(<RebootRequired>1</RebootRequired>)",
        .failure = R"(<SPStatus result = "false" ><Message id="{id}">{text}</Message></SPStatus>)",
        .write =
            [](const Devices& devices, const std::string& name) {
              CXMLWriter writer;
              writer.SetFileName(name);
              EXPECT_EQ(writer.WriteUpdateXML(devices), 1);
            },
    },
};

namespace {

/// The value of `record` that a name in a form's braces stands for.
std::string valueOf(std::string_view name, const CDeviceInfo& record) {
  using Value = std::string (*)(const CDeviceInfo&);
  static constexpr std::pair<std::string_view, Value> kValues[] = {
      {"vendor", [](const CDeviceInfo& device) { return device.getPCIInfo().vendorID; }},
      {"device", [](const CDeviceInfo& device) { return device.getPCIInfo().deviceID; }},
      {"subvendor", [](const CDeviceInfo& device) { return device.getPCIInfo().subVendorID; }},
      {"subdevice", [](const CDeviceInfo& device) { return device.getPCIInfo().subDeviceID; }},
      {"component", [](const CDeviceInfo& device) { return device.getComponentID(); }},
      {"display", [](const CDeviceInfo& device) { return device.getDisplay(); }},
      {"enum",
       [](const CDeviceInfo& device) {
         const std::string id = device.getEnumId();
         return id.empty() ? id : R"(enum = ")" + id + R"(" )";
       }},
      {"type", [](const CDeviceInfo& device) { return device.getComponentType(); }},
      {"version", [](const CDeviceInfo& device) { return device.getVersion(); }},
      {"name", [](const CDeviceInfo& device) { return device.getDeviceName(); }},
      {"id", [](const CDeviceInfo& device) { return std::to_string(device.getMessageID()); }},
      {"text", [](const CDeviceInfo& device) { return device.getErrorMsg(); }},
  };
  for (const auto& [known, value] : kValues) {
    if (name == known) return value(record);
  }
  throw std::invalid_argument("no value is called " + std::string(name));
}

std::string filled(std::string_view form, const CDeviceInfo& record) {
  std::string text;
  while (!form.empty()) {
    const std::size_t brace = form.find('{');
    text += form.substr(0, brace);
    if (brace == std::string_view::npos) break;
    const std::size_t end = form.find('}', brace);
    text += valueOf(form.substr(brace + 1, end - brace - 1), record);
    form.remove_prefix(end + 1);
  }
  return text;
}

}  // namespace

std::string documentOf(const DocumentForm& form, const std::vector<CDeviceInfo>& records) {
  std::string text = form.start;
  for (const CDeviceInfo& record : records) {
    if (record.getStatus() != 0) {
      text += filled(form.failure, record);
    } else if (record.getDeviceType() == CDeviceInfo::DEVICE_TYPE_PCI) {
      text += filled(form.drive, record);
    } else if (record.getDeviceType() == CDeviceInfo::DEVICE_TYPE_NONPCI) {
      text += filled(form.component, record);
    }
  }
  return text + form.end;
}

CDeviceInfo successful(CDeviceInfo::eDeviceType type) {
  CDeviceInfo record;
  record.setDeviceType(type);
  record.setStatus(0);
  record.setComponentID("12345");
  record.setPCIInfo({"not shown", "a808", "a801", "144d", "1a2b", "not shown"});
  record.setDisplay("Example NVMe PCIe SSD 1.6TB");
  record.setComponentType("FRMW");
  record.setVersion("EXF0101");
  record.setCurrentVersion("not shown");
  record.setDeviceName("Example device name");
  record.setErrorMsg("Example success text");
  return record;
}

CDeviceInfo drive() {
  return successful(CDeviceInfo::DEVICE_TYPE_PCI);
}

CDeviceInfo component() {
  return successful(CDeviceInfo::DEVICE_TYPE_NONPCI);
}

CDeviceInfo failed(CDeviceInfo record, int status, int messageID) {
  record.setStatus(status);
  record.setMessageID(messageID);
  record.setErrorMsg("Example error text");
  return record;
}

CDeviceInfo withEnumId(CDeviceInfo record, std::string id) {
  record.setEnumId(std::move(id));
  return record;
}

CDeviceInfo withReboot(CDeviceInfo record) {
  record.setRebootRequired(true);
  return record;
}

CDeviceInfo allTexts(CDeviceInfo record, const std::string& text) {
  record.setComponentID(text);
  record.setPCIInfo({text, text, text, text, text, text});
  record.setDisplay(text);
  record.setComponentType(text);
  record.setVersion(text);
  record.setDeviceName(text);
  record.setErrorMsg(text);
  record.setEnumId(text);
  return record;
}

std::vector<CDeviceInfo> oneOfEach() {
  return {component(), withReboot(drive()), failed(drive()), successful(CDeviceInfo::DEVICE_TYPE_UNKNOWN)};
}

Devices pointersTo(std::vector<CDeviceInfo>& records) {
  Devices pointers;
  for (CDeviceInfo& record : records) pointers.push_back(&record);
  return pointers;
}
