#include "DriveLibrary.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>

#include "Controller.h"
#include "FirmwareUpdate.h"

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

DriveSelection DriveLibrary::select() {
  const SupportedDrives supported = SupportedDrives::of(m_host);
  return selectDrives(listControllers(m_host), supported, allowedSerials(m_host));
}

Outcome DriveLibrary::discover(std::uint32_t& count, NVMeDriveRecord**& drives) {
  const DriveSelection selection = select();
  for (const LeftOut& out : selection.leftOut) {
    m_host.report(out.isIntended ? LOG_INFO : LOG_WARNING,
                  out.controller.subject() + " (" + out.controller.name + ") is left out: " + out.reason);
  }
  DriveList list;
  for (const PciController& controller : selection.offered) list.records.push_back(makeRecord(controller));
  for (NVMeDriveRecord& record : list.records) list.entries.push_back(&record);
  DriveList& kept = m_lists.emplace_back(std::move(list));
  count = static_cast<std::uint32_t>(kept.entries.size());
  drives = kept.entries.data();
  return Outcome::success();
}

NVMeDriveRecord DriveLibrary::makeRecord(const PciController& controller) {
  NVMeDriveRecord record{};
  record.subVendorID = controller.ids->subVendor;
  record.subDeviceID = controller.ids->subDevice;
  record.vendorID = controller.ids->vendor;
  record.deviceID = controller.ids->device;
  record.bus = controller.address->bus;
  record.device = controller.address->device;
  record.function = controller.address->function;
  if (Identity identity; identify(m_host, controller, identity).isSuccess()) {
    record.modelNumber = identity.model;
    record.serialNumber = identity.serial;
  } else {
    record.modelNumber = padded<40>(controller.model);
    record.serialNumber = padded<20>(controller.serial);
  }
  return record;
}

std::optional<PciController> DriveLibrary::find(const _NVME_ZOLT_BDF& address) {
  for (const PciController& controller : select().offered) {
    if (controller.address->bus == address.bus && controller.address->device == address.device &&
        controller.address->function == address.function)
      return controller;
  }
  const PciAddress wanted{.bus = address.bus, .device = address.device, .function = address.function};
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
