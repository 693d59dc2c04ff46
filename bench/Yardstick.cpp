// What a run cannot do without, and nothing else: the same libraries, one discovery, one revision read a
// drive, the package descriptor parsed twice a drive, one selection and one pass over its entries, one
// document; for an update, one flash a drive and the rollback library besides. No records, no trace, no care
// for failures.
//
//   yardstick -i|-u document

#include <dlfcn.h>
#include <libxml/parser.h>
#include <libxml/xpath.h>
#include <strings.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "NVMeRecords.h"
#include "UpdRollbackWrapper.h"

namespace {

const char* attribute(const xmlNode* element, const char* name) {
  const xmlAttr* const found = xmlHasProp(element, reinterpret_cast<const xmlChar*>(name));
  return reinterpret_cast<const char*>(found->children->content);
}

/// True when the id, zero-filled to four digits, is the drive's.
bool same(const xmlNode* pciInfo, const char* name, unsigned id) {
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "%x", id);
  return strcasecmp(attribute(pciInfo, name), text.data()) == 0;
}

std::string marketingName(const std::string& path, const NVMeDriveRecord& drive) {
  xmlFreeDoc(xmlParseFile(path.c_str()));
  xmlDoc* const document = xmlParseFile(path.c_str());
  xmlXPathContext* const context = xmlXPathNewContext(document);
  xmlXPathObject* const devices = xmlXPathEvalExpression(
      reinterpret_cast<const xmlChar*>("//SoftwareComponent/SupportedDevices/Device"), context);
  std::string name;
  for (int i = 0; i < devices->nodesetval->nodeNr; ++i) {
    for (xmlNode* child = devices->nodesetval->nodeTab[i]->children; child != nullptr; child = child->next) {
      if (strcasecmp(reinterpret_cast<const char*>(child->name), "PCIInfo") != 0) continue;
      if (!same(child, "deviceID", drive.deviceID) || !same(child, "subDeviceID", drive.subDeviceID) ||
          !same(child, "vendorID", drive.vendorID) || !same(child, "subVendorID", drive.subVendorID)) {
        continue;
      }
      name = reinterpret_cast<const char*>(child->next->children->content);
    }
  }
  xmlXPathFreeObject(devices);
  xmlXPathFreeContext(context);
  xmlFreeDoc(document);
  return name;
}

std::string field(const char* bytes, std::size_t width) {
  return {bytes, strnlen(bytes, width)};
}

/// A start tag up to the marketing name's end, with the blanks of an inventory or of an update document.
std::string deviceStart(const NVMeDriveRecord& drive, const std::string& descriptor, const char* blanks) {
  std::array<char, 128> ids{};
  std::snprintf(ids.data(), ids.size(),
                R"(<Device  vendorID="%x" deviceID="%x" subVendorID="%x" subDeviceID="%x"%sdisplay=")",
                drive.vendorID, drive.deviceID, drive.subVendorID, drive.subDeviceID, blanks);
  return ids.data() + marketingName(descriptor, drive) + R"(" enum = "Serial Number: )" +
         field(drive.serialNumber.data(), drive.serialNumber.size()) + R"(" >)";
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
    const std::string revision = field(info.firmwareRevision.data(), info.firmwareRevision.size());
    document += deviceStart(drive, descriptor, update ? " " : "  ");
    if (update) {
      if (flash(&address, payload.c_str()) != 0) return EXIT_FAILURE;
      document += R"(<Application componentType="FRMW" version=")" + revision +
                  R"(" display="" ><SPStatus result = "true" ><Message id="0" >Success</Message></SPStatus>)"
                  "</Application></Device>";
    } else {
      document +=
          R"(<Application componentType="FRMW"  version=")" + revision + R"("  display=""/></Device>)";
    }
  }
  document += update ? "</SVMExecution>" : "</SVMInventory>";
  if (update) keepForRollback(payload);
  std::FILE* const output = std::fopen(argv[2], "w");
  std::fwrite(document.data(), 1, document.size(), output);
  std::fclose(output);
  return EXIT_SUCCESS;
}
