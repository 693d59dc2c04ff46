#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "ControllerList.h"
#include "IKernel.h"
#include "NVMeRecords.h"

/// What the three entry points do. All results: 0 for success, an NVMe status (positive) or -errno.
///
/// Only drives that the package of the working directory supports exist here: no other one is listed, looked
/// at or flashed.
class CDriveLibrary {
 public:
  /// `kernel` must outlive the object.
  explicit CDriveLibrary(IKernel& kernel);

  /// Lists the drives, sorted by address. A drive that does not answer is listed all the same, with serial
  /// and model as the kernel remembers them. The list and its records stay as they are while the object
  /// lives, whatever else is called.
  int discover(std::uint32_t& count, NVMeDriveRecord**& drives);

  /// Asks the drive for its running firmware revision. `info` is left alone on failure; -ENODEV when no
  /// supported drive has the address.
  int driveInfo(const _NVME_ZOLT_BDF& address, NVMeDriveInfo& info);

  /// Flashes the file, see `CFirmwareUpdate::run`; -ENODEV when no supported drive has the address.
  int updateFirmware(const _NVME_ZOLT_BDF& address, const std::string& payloadPath);

 private:
  struct SDriveList {
    std::vector<NVMeDriveRecord> records;
    std::vector<NVMeDriveRecord*> entries;
  };

  std::optional<SPciController> find(const _NVME_ZOLT_BDF& address);
  NVMeDriveRecord makeRecord(const SPciController& controller);

  IKernel& m_kernel;
  std::deque<SDriveList> m_lists;  ///< every one that callers were given
};
