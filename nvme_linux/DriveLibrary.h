#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "DriveSelection.h"
#include "Host.h"
#include "NVMeRecords.h"
#include "Outcome.h"

namespace nvme_linux {

/// What the three entry points do.
///
/// Only drives that the package of the working directory names, and that its drives.allow lists where there
/// is one, exist here: no other one is listed, looked at or flashed.
class DriveLibrary {
 public:
  /// `host` must outlive the object.
  explicit DriveLibrary(Host& host);

  /// Lists the drives, sorted by bus, device and function; each controller of a drive with several counts as
  /// one. A drive that does not answer is listed all the same, with serial and model as the kernel remembers
  /// them. The list and its records stay as they are while the object lives, whatever else is called. From
  /// here on a controller is what was found: another drive in its place gets ENODEV from the operations
  /// below.
  Outcome discover(std::uint32_t& count, NVMeDriveRecord**& drives);

  /// Asks the drive for its running firmware revision. `info` is left alone on failure; ENODEV when no
  /// supported drive has the address.
  Outcome driveInfo(const _NVME_ZOLT_BDF& address, NVMeDriveInfo& info);

  /// Flashes the file, see `readImage` and `FirmwareUpdate::run`; ENODEV when no supported drive has the
  /// address. A drive with several controllers is flashed once: each of the others gets the same outcome when
  /// its turn comes with the same image.
  Outcome updateFirmware(const _NVME_ZOLT_BDF& address, const std::string& payloadPath);

 private:
  struct DriveList {
    std::vector<NVMeDriveRecord> records;
    std::vector<NVMeDriveRecord*> entries;
  };

  /// The update of a drive with several controllers.
  struct SharedUpdate {
    std::set<std::string> waiting;  ///< names of the controllers that have not had the outcome yet
    PciController updated;
    std::size_t imageHash;
    Outcome outcome;
  };

  DriveSelection select(const SupportedDrives& supported);
  NVMeDriveRecord makeRecord(const PciController& controller);
  std::optional<PciController> find(const _NVME_ZOLT_BDF& address, const SupportedDrives& supported);
  bool isAsFound(const PciController& controller) const;
  std::optional<Outcome> takeSharedOutcome(const PciController& controller,
                                           std::span<const std::uint8_t> image);

  Host& m_host;
  std::deque<DriveList> m_lists;                      ///< every one that callers were given
  std::optional<std::vector<PciController>> m_found;  ///< by the last discovery; nothing before the first
  std::vector<SharedUpdate> m_shared;                 ///< since the last discovery; one per drive
};

}  // namespace nvme_linux
