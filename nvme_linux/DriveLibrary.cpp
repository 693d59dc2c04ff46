#include "DriveLibrary.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>

#include "Controller.h"
#include "FirmwareUpdate.h"
#include "SupportedDrives.h"

namespace nvme_linux {

namespace {

/// As a drive would give it: padded with blanks, cut off at the field's width.
template <std::size_t Width>
std::array<char, Width> padded(const std::string& text) {
  std::array<char, Width> field{};
  field.fill(' ');
  std::copy_n(text.begin(), std::min(text.size(), Width), field.begin());
  return field;
}

Outcome identify(Host& host, const PciController& found, Identity& identity) {
  Controller controller(host, found);
  const Outcome outcome = controller.open();
  return outcome.isSuccess() ? controller.identify(identity) : outcome;
}

}  // namespace

DriveLibrary::DriveLibrary(Host& host) : m_host(host) {}

Outcome DriveLibrary::discover(std::uint32_t& count, NVMeDriveRecord**& drives) {
  const std::set<PciIds> supported = supportedDrives(m_host);
  const ControllerList controllers = listControllers(m_host);
  for (const LeftOutController& controller : controllers.leftOut)
    reportLeftOut(LOG_WARNING, controller.addressText, controller.name, controller.reason);
  DriveList list;
  for (const PciController& controller : controllers.usable) {
    if (supported.contains(controller.ids)) {
      list.records.push_back(makeRecord(controller));
    } else {
      reportLeftOut(LOG_INFO, controller.addressText, controller.name, "package.xml does not name its model");
    }
  }
  for (NVMeDriveRecord& record : list.records) list.entries.push_back(&record);
  DriveList& kept = m_lists.emplace_back(std::move(list));
  count = static_cast<std::uint32_t>(kept.entries.size());
  drives = kept.entries.data();
  return Outcome::success();
}

void DriveLibrary::reportLeftOut(int priority, const std::string& address, const std::string& name,
                                 const std::string& reason) {
  m_host.report(priority, "NVMe drive " + address + " (" + name + ") is left out: " + reason);
}

NVMeDriveRecord DriveLibrary::makeRecord(const PciController& controller) {
  NVMeDriveRecord record{};
  record.subVendorID = controller.ids.subVendor;
  record.subDeviceID = controller.ids.subDevice;
  record.vendorID = controller.ids.vendor;
  record.deviceID = controller.ids.device;
  record.bus = controller.address.bus;
  record.device = controller.address.device;
  record.function = controller.address.function;
  if (Identity identity; identify(m_host, controller, identity).isSuccess()) {
    record.modelNumber = identity.model;
    record.serialNumber = identity.serial;
  } else {
    record.modelNumber = padded<40>(m_host.attribute(controller.name, "model").value_or(""));
    record.serialNumber = padded<20>(m_host.attribute(controller.name, "serial").value_or(""));
  }
  return record;
}

std::optional<PciController> DriveLibrary::find(const _NVME_ZOLT_BDF& address) {
  const PciAddress wanted{address.bus, address.device, address.function};
  const std::set<PciIds> supported = supportedDrives(m_host);
  for (const PciController& controller : listControllers(m_host).usable) {
    if (controller.address == wanted && supported.contains(controller.ids)) return controller;
  }
  m_host.report(LOG_ERR, "NVMe drive " + textOf(wanted) + ": no supported drive has this address");
  return std::nullopt;
}

Outcome DriveLibrary::driveInfo(const _NVME_ZOLT_BDF& address, NVMeDriveInfo& info) {
  const auto controller = find(address);
  if (!controller) return Outcome::failed(ENODEV);
  Identity identity;
  const Outcome outcome = identify(m_host, *controller, identity);
  if (outcome.isSuccess()) info.firmwareRevision = identity.revision;
  return outcome;
}

Outcome DriveLibrary::updateFirmware(const _NVME_ZOLT_BDF& address, const std::string& payloadPath) {
  const auto controller = find(address);
  if (!controller) return Outcome::failed(ENODEV);
  return FirmwareUpdate(m_host, *controller).run(payloadPath);
}

}  // namespace nvme_linux
