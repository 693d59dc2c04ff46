#include "DriveLibrary.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>

#include "Controller.h"
#include "FirmwareUpdate.h"
#include "SupportedDrives.h"

namespace {

/// As a drive would give it: padded with blanks, cut off at the field's width.
template <std::size_t Width>
std::array<char, Width> padded(const std::string& text) {
  std::array<char, Width> field{};
  field.fill(' ');
  std::copy_n(text.begin(), std::min(text.size(), Width), field.begin());
  return field;
}

int identify(IKernel& kernel, const SPciController& found, SIdentity& identity) {
  CController controller(kernel, found);
  const int result = controller.open();
  return result != 0 ? result : controller.identify(identity);
}

}  // namespace

CDriveLibrary::CDriveLibrary(IKernel& kernel) : m_kernel(kernel) {}

int CDriveLibrary::discover(std::uint32_t& count, NVMeDriveRecord**& drives) {
  const std::set<SPciIds> supported = supportedDrives(m_kernel);
  SDriveList list;
  for (const SPciController& controller : listControllers(m_kernel)) {
    const std::string subject =
        "NVMe drive " + controller.addressText + " (" + controller.name + ") is left out: ";
    if (!controller.leftOutBecause.empty()) {
      m_kernel.report(LOG_WARNING, subject + controller.leftOutBecause);
    } else if (!supported.contains(controller.ids)) {
      m_kernel.report(LOG_INFO, subject + "package.xml does not name its model");
    } else {
      list.records.push_back(makeRecord(controller));
    }
  }
  for (NVMeDriveRecord& record : list.records) list.entries.push_back(&record);
  SDriveList& kept = m_lists.emplace_back(std::move(list));
  count = static_cast<std::uint32_t>(kept.entries.size());
  drives = kept.entries.data();
  return 0;
}

NVMeDriveRecord CDriveLibrary::makeRecord(const SPciController& controller) {
  NVMeDriveRecord record{};
  record.subVendorID = controller.ids.subVendor;
  record.subDeviceID = controller.ids.subDevice;
  record.vendorID = controller.ids.vendor;
  record.deviceID = controller.ids.device;
  record.bus = controller.address->bus;
  record.device = controller.address->device;
  record.function = controller.address->function;
  if (SIdentity identity; identify(m_kernel, controller, identity) == 0) {
    record.modelNumber = identity.model;
    record.serialNumber = identity.serial;
  } else {
    record.modelNumber = padded<40>(m_kernel.attribute(controller.name, "model").value_or(""));
    record.serialNumber = padded<20>(m_kernel.attribute(controller.name, "serial").value_or(""));
  }
  return record;
}

std::optional<SPciController> CDriveLibrary::find(const _NVME_ZOLT_BDF& address) {
  const SPciAddress wanted{address.bus, address.device, address.function};
  const std::set<SPciIds> supported = supportedDrives(m_kernel);
  for (const SPciController& controller : listControllers(m_kernel)) {
    if (controller.address == wanted && controller.leftOutBecause.empty() &&
        supported.contains(controller.ids)) {
      return controller;
    }
  }
  m_kernel.report(LOG_ERR, "NVMe drive " + textOf(wanted) + ": no supported drive has this address");
  return std::nullopt;
}

int CDriveLibrary::driveInfo(const _NVME_ZOLT_BDF& address, NVMeDriveInfo& info) {
  const auto controller = find(address);
  if (!controller) return -ENODEV;
  SIdentity identity;
  const int result = identify(m_kernel, *controller, identity);
  if (result == 0) info.firmwareRevision = identity.revision;
  return result;
}

int CDriveLibrary::updateFirmware(const _NVME_ZOLT_BDF& address, const std::string& payloadPath) {
  const auto controller = find(address);
  if (!controller) return -ENODEV;
  return CFirmwareUpdate(m_kernel, *controller).run(payloadPath);
}
