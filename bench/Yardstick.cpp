// What a run cannot do without, and nothing else: the same libraries, one discovery, one revision read a
// drive, the package descriptor parsed twice a drive, one selection and one pass over its entries, one
// document; for an update, one flash a drive and the rollback library besides. No records, no trace, no file
// looked for before it is read, no care for failures.
//
//   yardstick -i|-u document

#include <dlfcn.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <strings.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "NVMeRecords.h"
#include "UpdRollbackWrapper.h"

namespace {

const char* attribute(const xmlNode* element, const char* name) {
  const xmlAttr* const found = xmlHasProp(element, reinterpret_cast<const xmlChar*>(name));
  return reinterpret_cast<const char*>(found->children->content);
}

/// A drive's ids as documents and descriptors show them.
struct Ids {
  using Text = std::array<char, sizeof("ffff")>;
  explicit Ids(const NVMeDriveRecord& drive)
      : device(text(drive.deviceID)),
        subDevice(text(drive.subDeviceID)),
        vendor(text(drive.vendorID)),
        subVendor(text(drive.subVendorID)) {}

  static Text text(unsigned short id) {
    Text text{};
    std::to_chars(text.data(), text.data() + text.size(), id, 16);
    return text;
  }

  Text device;
  Text subDevice;
  Text vendor;
  Text subVendor;
};

bool same(const xmlNode* pciInfo, const char* name, const Ids::Text& id) {
  return strcasecmp(attribute(pciInfo, name), id.data()) == 0;
}

/// Of the last entry with the ids; belongs to the document.
const char* marketingName(const xmlNodeSet& devices, const Ids& ids) {
  const char* name = "";
  for (int i = 0; i < devices.nodeNr; ++i) {
    for (xmlNode* child = devices.nodeTab[i]->children; child != nullptr; child = child->next) {
      if (std::strcmp(reinterpret_cast<const char*>(child->name), "PCIInfo") == 0 &&
          same(child, "deviceID", ids.device) && same(child, "subDeviceID", ids.subDevice) &&
          same(child, "vendorID", ids.vendor) && same(child, "subVendorID", ids.subVendor)) {
        name = reinterpret_cast<const char*>(child->next->children->content);
      }
    }
  }
  return name;
}

std::string_view field(const char* bytes, std::size_t width) {
  return {bytes, strnlen(bytes, width)};
}

/// Appends a start tag, with the blanks of an inventory or of an update document.
void addDeviceStart(std::string& document, const NVMeDriveRecord& drive, const char* descriptor,
                    const char* blanks) {
  const Ids ids(drive);
  xmlFreeDoc(xmlParseFile(descriptor));
  xmlDoc* const package = xmlParseFile(descriptor);
  xmlXPathContext* const context = xmlXPathNewContext(package);
  xmlXPathObject* const devices = xmlXPathEvalExpression(
      reinterpret_cast<const xmlChar*>("//SoftwareComponent/SupportedDevices/Device"), context);
  document.append(R"(<Device  vendorID=")").append(ids.vendor.data());
  document.append(R"(" deviceID=")").append(ids.device.data());
  document.append(R"(" subVendorID=")").append(ids.subVendor.data());
  document.append(R"(" subDeviceID=")").append(ids.subDevice.data());
  document.append("\"").append(blanks).append(R"(display=")");
  document.append(marketingName(*devices->nodesetval, ids));
  document.append(R"(" enum = "Serial Number: )");
  document.append(field(drive.serialNumber.data(), drive.serialNumber.size())).append(R"(" >)");
  xmlXPathFreeObject(devices);
  xmlXPathFreeContext(context);
  xmlFreeDoc(package);
}

void keepForRollback(const std::string& payload) {
  UpdRollbackWrapper wrapper;
  wrapper.addPayloadFiles(payload, true);
  wrapper.updateFirmwarePartition();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return EXIT_FAILURE;
  const bool update = std::strcmp(argv[1], "-u") == 0;
  std::array<char, 2048> folder{};
  if (getcwd(folder.data(), folder.size()) == nullptr) return EXIT_FAILURE;
  if (dlopen("libkvrpm.so", RTLD_NOW) == nullptr) return EXIT_FAILURE;
  void* const library = dlopen("./libnvme.so", RTLD_NOW);
  if (library == nullptr) return EXIT_FAILURE;
  const auto discover = reinterpret_cast<NVMeDiscoverDrives*>(dlsym(library, "NVMEDiscoverDrives"));
  const auto driveInfo = reinterpret_cast<NVMeGetDriveInfo*>(dlsym(library, "NVMEGetDriveInfo"));
  const auto flash = reinterpret_cast<NVMeUpdateFirmware*>(dlsym(library, "NVMEUpdateFirmware"));

  xmlKeepBlanksDefault(0);
  const std::string descriptor = std::string(folder.data()) + "/package.xml";
  const std::string payload = std::string(folder.data()) + "/payload/firmware.bin";
  std::uint32_t count = 0;
  NVMeDriveRecord** drives = nullptr;
  if (discover(&count, &drives) != 0) return EXIT_FAILURE;
  std::string document = R"(<?xml version="1.0" encoding="UTF-8"?>)";
  document += update ? R"(<SVMExecution lang="en">)" : R"(<SVMInventory lang="en">)";
  for (std::uint32_t i = 0; i < count; ++i) {
    const NVMeDriveRecord& drive = *drives[i];
    _NVME_ZOLT_BDF address{drive.bus, drive.device, drive.function};
    NVMeDriveInfo info{};
    driveInfo(&address, &info);
    addDeviceStart(document, drive, descriptor.c_str(), update ? " " : "  ");
    document += update ? R"(<Application componentType="FRMW" version=")"
                       : R"(<Application componentType="FRMW"  version=")";
    document += field(info.firmwareRevision.data(), info.firmwareRevision.size());
    if (update) {
      if (flash(&address, payload.c_str()) != 0) return EXIT_FAILURE;
      document += R"(" display="" ><SPStatus result = "true" ><Message id="0" >Success</Message></SPStatus>)"
                  "</Application></Device>";
    } else {
      document += R"("  display=""/></Device>)";
    }
  }
  document += update ? "</SVMExecution>" : "</SVMInventory>";
  if (update) keepForRollback(payload);
  std::FILE* const output = std::fopen(argv[2], "w");
  std::fwrite(document.data(), 1, document.size(), output);
  std::fclose(output);
  return EXIT_SUCCESS;
}
