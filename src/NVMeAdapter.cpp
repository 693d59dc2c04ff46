#include "NVMeAdapter.h"

#include <memory>
#include <new>
#include <utility>

#include "Logger.h"
#include "PlatformLayer.h"
#include "SoftwareComponentInfo.h"
#include "StringUtils.h"

CNVMeAdapter* CNVMeAdapter::m_ptrInstance = nullptr;

namespace {

constexpr int kStatusSuccess = 0;
constexpr int kStatusUpdateFailed = 1;
constexpr int kStatusRevisionUnreadable = 2;

/// The drive took the firmware and runs it after a reset (NVMe status 10Bh, Firmware Activation Requires
/// Conventional Reset).
constexpr int kUpdatedResetRequired = 267;

/// The library pads its texts with blanks or NULs and ends none of them with a NUL when they fill the field.
template <std::size_t Width>
std::string fieldText(const std::array<char, Width>& field) {
  return CStringUtils::fixedWidthText({field.data(), field.size()});
}

/// As an unsigned number: -1 shows as 4294967295.
std::string returnValueLine(int result) {
  return "ERROR INFO: API return value = " + std::to_string(static_cast<unsigned int>(result));
}

template <class EntryPoint>
void bind(EntryPoint*& member, void* library, const char* symbol) {
  // dlsym gives a data pointer; POSIX promises that it may be called all the same.
  member = reinterpret_cast<EntryPoint*>(CPlatformLayer::GetProcAddress(library, symbol));
}

}  // namespace

CNVMeAdapter* CNVMeAdapter::GetInstance() {
  const CTraceScope trace(LOG_SITE, "CNVMeAdapter::GetInstance()");
  if (m_ptrInstance == nullptr) {
    // Not initialised here: the operations do that, and each of them decides what a failure means.
    m_ptrInstance = new (std::nothrow) CNVMeAdapter;
    if (m_ptrInstance == nullptr) LOG("ERROR: Object Creation or Library intialization failed");
  }
  return m_ptrInstance;
}

void CNVMeAdapter::DeleteInstance() {
  LOG("Entering CNVMeAdapter::DeleteInstance()");
  if (m_ptrInstance != nullptr) {
    LOG("Before deleting the CNVMeAdapter instance");
    // Cleared before the object is destroyed. An update tears the adapter down twice, and the second time
    // must find nothing.
    delete std::exchange(m_ptrInstance, nullptr);
    LOG("After deleting the CNVMeAdapter instance");
  }
  LOG("Leaving  CNVMeAdapter::DeleteInstance()");
}

CNVMeAdapter::CNVMeAdapter() {
  const CTraceScope trace(LOG_SITE, "CNVMeAdapter::CNVMeAdapter()");
}

CNVMeAdapter::~CNVMeAdapter() {
  const CTraceScope trace(LOG_SITE, "CNVMeAdapter::~CNVMeAdapter()");
  LOG("Initializing all required function pointers to NULL");
  // The library is closed next, so no pointer into it may remain.
  m_fncNVMEDiscoverDrives = nullptr;
  m_fncNVMEGetDriveInfo = nullptr;
  m_fncNVMEUpdateFirmware = nullptr;
  LOG("Checking library handle existance");
  if (m_hLibrary != nullptr) {
    LOG("Library handle exists. Freeing it and initialize to NULL");
    CPlatformLayer::FreeLibrary(std::exchange(m_hLibrary, nullptr));
  }
  LOG("Uninstalling MOXI ...");
  // Unless this run has put the library in place (or found it there, which the platform layer remembers),
  // there is nothing to take away.
  if (m_bSupportLibInstalled) {
    const bool failed = CPlatformLayer::UninstallMoxi();
    LOG(failed ? "ERROR: Uninstalling MOXI is failed." : "Uninstalling MOXI is completed.");
  }
}

bool CNVMeAdapter::Initialize() {
  const CTraceScope trace(LOG_SITE, "CNVMeAdapter::Initialize()");
  // On every call, also when the drive library is open already: the install script may have been asked to
  // remove the support library in between, and callers compare the lines. An update calls this twice.
  LOG("Installing MOXI ..");
  const bool failed = CPlatformLayer::InstallMoxi();
  if (failed) {
    LOG("ERROR: Installing MOXI is Failed");
  } else {
    LOG("Install MOXI Succeeded");
    m_bSupportLibInstalled = true;
  }
  // The drive library reaches the hardware through the support library, so it is not opened without it.
  if (!m_bInitialized && m_bSupportLibInstalled && openLibrary()) m_bInitialized = bindEntryPoints();
  return m_bInitialized;
}

bool CNVMeAdapter::openLibrary() {
  LOG("Loading NVMePCISSD_LIBRARY to get handle to library");
  // The working directory first: a package ships the library that fits its payload. The bare name leaves the
  // choice to the dynamic loader.
  m_hLibrary = CPlatformLayer::Load_Library("./libnvme.so");
  if (m_hLibrary == nullptr) {
    LOG("Loading NVMePCISSD_LIBRARY from system or KEST path");
    m_hLibrary = CPlatformLayer::Load_Library("libnvme.so");
  }
  if (m_hLibrary == nullptr) {
    LOG("ERROR: Could not able to load the NVMePCISSD Library using NVMePCISSD_LIBRARY to get handle to "
        "library");
  }
  return m_hLibrary != nullptr;
}

bool CNVMeAdapter::bindEntryPoints() {
  LOG("Received handle to library NVMePCISSD_LIBRARY. Initializing required function pointers");
  // All three are looked up even when one is missing; the line below names them together.
  bind(m_fncNVMEDiscoverDrives, m_hLibrary, "NVMEDiscoverDrives");
  bind(m_fncNVMEGetDriveInfo, m_hLibrary, "NVMEGetDriveInfo");
  bind(m_fncNVMEUpdateFirmware, m_hLibrary, "NVMEUpdateFirmware");
  if (m_fncNVMEDiscoverDrives != nullptr && m_fncNVMEGetDriveInfo != nullptr &&
      m_fncNVMEUpdateFirmware != nullptr) {
    LOG("INFO: All required function pointers initialized successfully");
    return true;
  }
  // The line names two entry points that are never bound; callers compare it.
  LOG("ERROR: Could not able to load one/all of function pointer(s) m_fncNVMEDiscoverDrives, "
      "m_fncNVMEGetDriverInfo,m_fncNVMEGetDriveDeviceName, m_fncNVMEGetDriveInfo, m_fncNVMEUpdateFirmware");
  LOG("Releasing handle to library NVMePCISSD_LIBRARY");
  CPlatformLayer::FreeLibrary(std::exchange(m_hLibrary, nullptr));
  return false;
}

bool CNVMeAdapter::DiscoverNVMeDevices(std::vector<CDeviceInfo*>& devices) {
  const CTraceScope trace(LOG_SITE, "CNVMeAdapter::DiscoverNVMeDevices()");
  LOG("Invoking Samsung API to get NVMe PCISSD disks' discovery/inventory data");
  std::uint32_t count = 0;
  NVMeDriveRecord** drives = nullptr;
  const int result = m_fncNVMEDiscoverDrives(&count, &drives);
  if (result != 0) {
    LOG("ERROR: Samung API NVMEDiscoverDrives failed to collect NVMe PCISSD disks' inventory");
    LOG(returnValueLine(result));
    return false;
  }
  LOG("Done. Samsung API NVMEDiscoverDrives successfully returned with discovery/inventory data");
  // A library that reports drives but hands out no list has none that could be described.
  if (drives == nullptr) return false;

  bool found = false;
  for (std::uint32_t i = 0; i < count; ++i) {
    // The text is advanced by the drive's number, not followed by it; callers compare the lines.
    LOG(CStringUtils::shifted("Found a NVMePCISSD with drive number ", i));
    std::unique_ptr<CDeviceInfo> device(new (std::nothrow) CDeviceInfo);
    if (device == nullptr) {
      // The drives so far are still worth an inventory.
      LOG("ERROR: Creating CDeviceInfo instance failed!");
      break;
    }
    if (drives[i] == nullptr) {
      LOG("ERROR: NVMEDiscoverDrives returned an empty drive entry");
      continue;
    }
    describe(*drives[i], *device);
    devices.push_back(device.get());
    static_cast<void>(device.release());
    found = true;
  }
  return found;
}

void CNVMeAdapter::describe(const NVMeDriveRecord& drive, CDeviceInfo& device) {
  // Device ids before vendor ids: the order of the setter, not that of the record.
  device.setPCIInfo(drive.deviceID, drive.subDeviceID, drive.vendorID, drive.subVendorID);
  const _NVME_ZOLT_BDF address{drive.bus, drive.device, drive.function};
  device.setBDFInfo(address.bus, address.device, address.function);

  const std::string serialNumber = CStringUtils::trim_string(fieldText(drive.serialNumber));
  // The model number is only logged. Documents show the marketing name of the package descriptor instead.
  LOG("NVMePCISSD Model Number: " + CStringUtils::trim_string(fieldText(drive.modelNumber)));
  // The label is part of the stored id: documents carry it, and readers expect it.
  device.setEnumId("Serial Number: " + serialNumber);
  LOG("NVMePCISSD Serial Number: " + serialNumber);

  std::string revision;
  // A drive whose revision cannot be read is listed all the same, and an update flashes it.
  if (getFirmwareRevision(address, revision)) {
    device.setStatus(kStatusSuccess);
    device.setErrorMsg("Success");
  } else {
    device.setStatus(kStatusRevisionUnreadable);
    device.setErrorMsg("ERROR: Getting Firmware Version of required NVMePCISSD disk failed");
  }
  device.setVersion(revision);
  setBasicDeviceInfo(&device);
}

bool CNVMeAdapter::getFirmwareRevision(_NVME_ZOLT_BDF address, std::string& revision) {
  const CTraceScope trace(LOG_SITE, "CNVMeAdapter::getFirmwareRevision()");
  // What documents show for a drive that does not answer.
  revision = "Not Found";
  NVMeDriveInfo info{};
  if (m_fncNVMEGetDriveInfo(&address, &info) != 0) {
    LOG("ERROR: Failed to get the NVMePCISSD firmware version using m_fncNVMEGetDriveInfo function pointer");
    return false;
  }
  // Not trimmed: the blanks that pad a revision reach the documents.
  revision = fieldText(info.firmwareRevision);
  LOG("INFO: Firmware Version of the drive using memory values  " + revision);
  return true;
}

void CNVMeAdapter::setBasicDeviceInfo(CDeviceInfo* device) {
  const CTraceScope trace(LOG_SITE, "CNVMeAdapter::setBasicDeviceInfo()");
  device->setDeviceName(m_strDeviceName);
  LOG("CNVMeAdapter::setBasicDeviceInfo() Setting the Device Name: " + m_strDeviceName);
  device->setComponentType(m_strComponentType);
  LOG("Setting the Component Type: " + m_strComponentType);
  device->setDeviceType(CDeviceInfo::DEVICE_TYPE_PCI);
  LOG("Setting the Device Type");

  LOG("Befoe creating the object of Software Component Info");
  // A reader per drive, which reads package.xml from disk each time. Its constructor also looks for the
  // marker file of the debug log, so that the second drive silences a log that the first one started.
  CSoftwareComponentInfo descriptor;
  LOG("After creating the object of Software Component Info");
  SPCIInfo pci = device->getPCIInfo();
  const std::string marketingName = descriptor.getMarketingNameForPCIDevice(pci);
  // The device name is empty: a drive that the package does not name has no display name.
  device->setDisplay(marketingName.empty() ? m_strDeviceName : marketingName);
  LOG("Setting the Display name to Marketing name: " + marketingName);
}

bool CNVMeAdapter::UpdateNVMeDevices(std::vector<CDeviceInfo*>& devices, std::string payloadPath) {
  const CTraceScope trace(LOG_SITE, "CNVMeAdapter::UpdateNVMeDevices()");
  std::uint32_t attempted = 0;
  std::uint32_t succeeded = 0;
  // Every drive is tried, whatever its status and whatever became of the one before it.
  for (CDeviceInfo* device : devices) {
    LOG("Updating the firmware for NVMeDevcice");
    // The address is all that the library needs to find the drive again.
    const _BDFInfo bdf = device->getBDFInfo();
    _NVME_ZOLT_BDF address{bdf.bus, bdf.device, bdf.function};
    const int result = m_fncNVMEUpdateFirmware(&address, payloadPath.c_str());
    if (result == 0 || result == kUpdatedResetRequired) {
      LOG("Update firmware done for NVMeDevcice Succesfully");
      // The record keeps what discovery said of it: a success is not written down, only a failure is.
      ++succeeded;
    } else {
      LOG("ERROR: Update firmware failed for NVMeDevcice");
      LOG(returnValueLine(result));
      device->setStatus(kStatusUpdateFailed);
      device->setErrorMsg("ERROR: Failed to Update Firmware");
    }
    ++attempted;
  }
  LOG(std::to_string(succeeded) + " NVMEPCISSD drives updated succesfully out of " +
      std::to_string(attempted) + " NVMEPCISSD Drives");
  return succeeded > 0;
}
