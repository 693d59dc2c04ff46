#include "DriveLibrary.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <string_view>

#include "Controller.h"
#include "FirmwareUpdate.h"
#include "Image.h"

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

std::size_t hashOf(std::span<const std::uint8_t> image) {
  return std::hash<std::string_view>()({reinterpret_cast<const char*>(image.data()), image.size()});
}

}  // namespace

DriveLibrary::DriveLibrary(Host& host) : m_host(host) {}

DriveSelection DriveLibrary::select(const SupportedDrives& supported) {
  return selectDrives(listControllers(m_host), supported, allowedSerials(m_host));
}

Outcome DriveLibrary::discover(std::uint32_t& count, NVMeDriveRecord**& drives) {
  const DriveSelection selection = select(SupportedDrives::of(m_host));
  for (const LeftOut& out : selection.leftOut) {
    m_host.report(out.isIntended ? LOG_INFO : LOG_WARNING,
                  out.controller.subject() + " (" + out.controller.name + ") is left out: " + out.reason);
  }
  m_found = selection.offered;
  m_shared.clear();  // an update after a new discovery is a new update
  DriveList list;
  for (const PciController& controller : selection.offered) list.records.push_back(makeRecord(controller));
  // Only now: the records no longer move.
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
  if (Identity identity{}; identify(m_host, controller, identity).isSuccess()) {
    record.modelNumber = identity.model;
    record.serialNumber = identity.serial;
  } else {
    record.modelNumber = padded<40>(controller.model);
    record.serialNumber = padded<20>(controller.serial);
  }
  return record;
}

/// The package and the host are read anew on each call: drives come and go while the process lives.
std::optional<PciController> DriveLibrary::find(const _NVME_ZOLT_BDF& address,
                                                const SupportedDrives& supported) {
  for (const PciController& controller : select(supported).offered) {
    if (controller.address->bus != address.bus || controller.address->device != address.device ||
        controller.address->function != address.function)
      continue;
    if (isAsFound(controller)) return controller;
    m_host.report(LOG_ERR,
                  controller.subject() + ": another drive was found at this address before; refusing");
    return std::nullopt;
  }
  // The domain is not the caller's to name.
  const PciAddress wanted{.bus = address.bus, .device = address.device, .function = address.function};
  m_host.report(LOG_ERR, "NVMe drive " + textOf(wanted) + ": no supported drive has this address");
  return std::nullopt;
}

bool DriveLibrary::isAsFound(const PciController& controller) const {
  return !m_found || std::find(m_found->begin(), m_found->end(), controller) != m_found->end();
}

Outcome DriveLibrary::driveInfo(const _NVME_ZOLT_BDF& address, NVMeDriveInfo& info) {
  const auto controller = find(address, SupportedDrives::of(m_host));
  if (!controller) return Outcome::failed(ENODEV);
  Identity identity{};
  const Outcome outcome = identify(m_host, *controller, identity);
  if (outcome.isSuccess()) info.firmwareRevision = identity.revision;
  return outcome;
}

Outcome DriveLibrary::updateFirmware(const _NVME_ZOLT_BDF& address, const std::string& payloadPath) {
  const SupportedDrives supported = SupportedDrives::of(m_host);
  const auto controller = find(address, supported);
  if (!controller) return Outcome::failed(ENODEV);
  std::vector<std::uint8_t> image;
  if (const Outcome read = readImage(m_host, controller->subject(), payloadPath, image); !read.isSuccess())
    return read;
  // Firmware slots belong to the drive: to flash it once per controller would cost a second slot its image.
  if (const auto shared = takeSharedOutcome(*controller, image)) return *shared;

  std::vector<PciController> ports{*controller};
  std::set<std::string> others;
  for (const PciController& other : listControllers(m_host)) {
    if (other == *controller || !arePortsOfOneDrive(*controller, other)) continue;
    ports.push_back(other);
    others.insert(other.name);
  }
  const Outcome outcome = FirmwareUpdate(m_host, supported, ports, image).run();
  std::erase_if(m_shared,
                [&](const SharedUpdate& one) { return arePortsOfOneDrive(*controller, one.updated); });
  if (!others.empty())
    m_shared.push_back({.waiting = std::move(others),
                        .updated = *controller,
                        .imageHash = hashOf(image),
                        .outcome = outcome});
  return outcome;
}

/// The outcome of the update that reached this controller's drive through another one. Nothing when there was
/// none, or when the controller had its share already: then it is to be flashed once more.
std::optional<Outcome> DriveLibrary::takeSharedOutcome(const PciController& controller,
                                                       std::span<const std::uint8_t> image) {
  // Several drives wait at a time: callers flash by address, so that the second ports often follow after the
  // first ports of all drives.
  const auto shared = std::find_if(m_shared.begin(), m_shared.end(), [&](const SharedUpdate& one) {
    return arePortsOfOneDrive(controller, one.updated);
  });
  if (shared == m_shared.end() || shared->imageHash != hashOf(image) ||
      shared->waiting.erase(controller.name) == 0)
    return std::nullopt;
  m_host.report(LOG_NOTICE, controller.subject() + ": the same drive as at " + shared->updated.addressText +
                                ", which was updated already; the result is the same");
  return shared->outcome;
}

}  // namespace nvme_linux
