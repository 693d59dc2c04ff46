#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "DriveSelection.h"
#include "Host.h"
#include "NVMeRecords.h"
#include "Outcome.h"

namespace nvme_linux {

/// What the three entry points do.
///
/// Only drives that the package of the working directory supports exist here: no other one is listed, looked
/// at or flashed.
class DriveLibrary {
 public:
  /// `host` must outlive the object.
  explicit DriveLibrary(Host& host);

  /// Lists the drives, sorted by address. A drive that does not answer is listed all the same, with serial
  /// and model as the kernel remembers them. The list and its records stay as they are while the object
  /// lives, whatever else is called.
  Outcome discover(std::uint32_t& count, NVMeDriveRecord**& drives);

  /// Asks the drive for its running firmware revision. `info` is left alone on failure; ENODEV when no
  /// supported drive has the address.
  Outcome driveInfo(const _NVME_ZOLT_BDF& address, NVMeDriveInfo& info);

  /// Flashes the file, see `FirmwareUpdate::run`; ENODEV when no supported drive has the address.
  Outcome updateFirmware(const _NVME_ZOLT_BDF& address, const std::string& payloadPath);

 private:
  struct DriveList {
    std::vector<NVMeDriveRecord> records;
    std::vector<NVMeDriveRecord*> entries;
  };

  std::optional<PciController> find(const _NVME_ZOLT_BDF& address);
  NVMeDriveRecord makeRecord(const PciController& controller);
  DriveSelection select();

  Host& m_host;
  std::deque<DriveList> m_lists;  ///< every one that callers were given
};

}  // namespace nvme_linux
