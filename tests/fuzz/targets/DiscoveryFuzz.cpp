// Discovery and update from raw drive records: the input plays the drive library.
//
//   one byte (bit 0: log on; bit 1: discovery fails; bit 2: no list), then for each drive
//     one byte (bit 0: null entry; bit 1: revision unreadable; bit 2: update refused; bit 3: update needs a
//     reset) the 84 bytes of its record the 40 bytes of its drive information

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "FuzzSupport.h"
#include "InventoryXMLWriter.h"
#include "LinuxImpl.h"
#include "NVMeAdapter.h"
#include "PlatformLayer.h"
#include "UpdateXMLWriter.h"

namespace {

/// A drive library of one input. Each record is an allocation of its own, so that the sanitizer sees a read
/// beyond it.
struct Drive {
  std::uint8_t flags = 0;
  std::unique_ptr<NVMeDriveRecord> record = std::make_unique<NVMeDriveRecord>();
  NVMeDriveInfo info{};

  bool nullEntry() const { return (flags & 1U) != 0; }
  bool unreadable() const { return (flags & 2U) != 0; }
  int updateResult() const { return (flags & 4U) != 0 ? -1 : (flags & 8U) != 0 ? 267 : 0; }
  bool isAt(const _NVME_ZOLT_BDF& address) const {
    return address.bus == record->bus && address.device == record->device &&
           address.function == record->function;
  }
};

struct Library {
  std::uint8_t flags = 0;
  std::vector<Drive> drives;
  std::vector<NVMeDriveRecord*> list;

  bool logged() const { return (flags & 1U) != 0; }
  bool fails() const { return (flags & 2U) != 0; }
  bool hidesList() const { return (flags & 4U) != 0; }
  std::size_t entries() const {
    if (fails() || hidesList()) return 0;
    return static_cast<std::size_t>(
        std::count_if(drives.begin(), drives.end(), [](const Drive& drive) { return !drive.nullEntry(); }));
  }
};

Library* library = nullptr;

const Drive& driveAt(const _NVME_ZOLT_BDF& address) {
  const auto drive =
      std::find_if(library->drives.begin(), library->drives.end(),
                   [&address](const Drive& each) { return !each.nullEntry() && each.isAt(address); });
  PROMISE(drive != library->drives.end());
  return *drive;
}

int discover(std::uint32_t* count, NVMeDriveRecord*** drives) {
  PROMISE(*count == 0 && *drives == nullptr);
  if (library->fails()) return -1;
  *count = static_cast<std::uint32_t>(library->list.size());
  if (!library->hidesList()) *drives = library->list.data();
  return 0;
}

int driveInfo(_NVME_ZOLT_BDF* address, NVMeDriveInfo* info) {
  PROMISE(std::all_of(info->firmwareRevision.begin(), info->firmwareRevision.end(),
                      [](char byte) { return byte == '\0'; }));
  const Drive& drive = driveAt(*address);
  *info = drive.info;
  return drive.unreadable() ? 1 : 0;
}

int updateFirmware(_NVME_ZOLT_BDF* address, const char* payloadPath) {
  PROMISE(std::strcmp(payloadPath, "payload") == 0);
  return driveAt(*address).updateResult();
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"  // as in CLinuxImpl: nothing deletes an implementation

/// The platform, with the library above as the only one that can be loaded.
class InputPlatform final : public CLinuxImpl {
 public:
  bool InstallMoxi() override { return false; }
  bool UninstallMoxi() override { return false; }
  void* LoadLibrary(const std::string& /*name*/) override { return this; }
  void FreeLibrary(void* handle) override { PROMISE(handle == this); }
  void* GetProcAddress(void* handle, const std::string& symbol) override {
    PROMISE(handle == this);
    if (symbol == "NVMEDiscoverDrives") return reinterpret_cast<void*>(&discover);
    if (symbol == "NVMEGetDriveInfo") return reinterpret_cast<void*>(&driveInfo);
    PROMISE(symbol == "NVMEUpdateFirmware");
    return reinterpret_cast<void*>(&updateFirmware);
  }
};

#pragma GCC diagnostic pop

template <class Record>
void fill(Record& record, std::span<const std::uint8_t> bytes) {
  std::memcpy(&record, bytes.data(), bytes.size());
}

Library read(fuzz::Input input) {
  constexpr std::size_t kMostDrives = 8;  // each is described by a fresh parse of the descriptor
  Library result;
  result.flags = input.byte();
  while (!input.empty() && result.drives.size() < kMostDrives) {
    Drive& drive = result.drives.emplace_back();
    drive.flags = input.byte();
    if (const auto bytes = input.take(sizeof(NVMeDriveRecord)); !bytes.empty()) fill(*drive.record, bytes);
    if (const auto bytes = input.take(sizeof(NVMeDriveInfo)); !bytes.empty()) fill(drive.info, bytes);
  }
  for (const Drive& drive : result.drives) {
    result.list.push_back(drive.nullEntry() ? nullptr : drive.record.get());
  }
  return result;
}

void enter() {
  static constexpr std::string_view kDescriptor =
      "<SoftwareComponent><SupportedDevices><Device componentID=\"1\">"
      "<PCIInfo deviceID=\"a801\" subDeviceID=\"1001\" vendorID=\"f101\" subVendorID=\"F1A0\"/>"
      "<Display>Sample</Display></Device></SupportedDevices></SoftwareComponent>";
  static InputPlatform platform;
  if (CPlatformLayer::m_pPlatformImpl == &platform) return;
  const std::vector<std::uint8_t> bytes(kDescriptor.begin(), kDescriptor.end());
  fuzz::Scratch::enter().write("package.xml", bytes);
  CPlatformLayer::m_pPlatformImpl = &platform;
}

void checkDrive(const CDeviceInfo& device) {
  const _BDFInfo bdf = device.getBDFInfo();
  const Drive& drive = driveAt({bdf.bus, bdf.device, bdf.function});
  PROMISE(device.getStatus() == (drive.unreadable() ? 2 : 0));
  PROMISE(drive.unreadable() ? device.getVersion() == "Not Found" : device.getVersion().size() <= 8);
  PROMISE(device.getEnumId().rfind("Serial Number: ", 0) == 0 && device.getEnumId().size() <= 15 + 20);
  PROMISE(device.getDisplay().empty() || device.getDisplay() == "Sample");
}

template <class Writer>
void checkDocument(const std::vector<CDeviceInfo*>& devices, const std::string& root) {
  {
    Writer writer;
    PROMISE(writer.GetXML(devices, "result.xml"));
  }
  const std::string document = fuzz::Scratch::enter().read("result.xml");
  PROMISE(document.rfind("<?xml version=\"1.0\" encoding=\"UTF-8\"?><" + root + " lang=\"en\">", 0) == 0);
  const std::string end = "</" + root + ">";
  PROMISE(document.size() > end.size() &&
          document.compare(document.size() - end.size(), end.size(), end) == 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  enter();
  Library input = read(fuzz::Input(data, size));
  library = &input;
  const fuzz::LogSwitch log(input.logged());

  CNVMeAdapter* const adapter = CNVMeAdapter::GetInstance();
  PROMISE(adapter->Initialize());
  fuzz::Owned<CDeviceInfo> devices({});
  PROMISE(adapter->DiscoverNVMeDevices(devices.list()) == (input.entries() > 0));
  PROMISE(devices.list().size() == input.entries());
  for (const CDeviceInfo* device : devices.list()) checkDrive(*device);
  checkDocument<CInventoryXMLWriter>(devices.list(), "SVMInventory");

  std::size_t updated = 0;
  const bool any = adapter->UpdateNVMeDevices(devices.list(), "payload");
  for (const CDeviceInfo* device : devices.list()) {
    if (device->getStatus() != 1) ++updated;
  }
  PROMISE(any == (updated > 0));
  checkDocument<CUpdateXMLWriter>(devices.list(), "SVMExecution");
  CNVMeAdapter::DeleteInstance();
  return 0;
}
