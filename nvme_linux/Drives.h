// What is known of the machine's drives, for programs that decide about updates. Nothing here changes a
// drive.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ControllerList.h"
#include "DriveUse.h"
#include "FirmwareSlots.h"
#include "Health.h"
#include "Host.h"
#include "Identity.h"

namespace nvme_linux {

/// One PCIe controller, and the drive behind it.
struct DriveFacts {
  PciController controller;  ///< name, address, ids, serial, model, subsystem, from sysfs

  /// The other controllers of the same drive ("nvme1"), by address; they share everything below. Empty for a
  /// drive with one port.
  std::vector<std::string> siblings;

  // From the drive itself. Nothing without root, and for a controller that does not answer.
  std::optional<Identity> identity;
  std::optional<FirmwareSlots> slots;
  std::optional<Health> health;

  std::vector<DriveUse> uses;  ///< of the drive through any of its controllers
  bool areUsesComplete{};      ///< false without root: something else may use the drive

  /// What it runs: from the drive, or else as the kernel remembers it, which may be older; empty when neither
  /// is known.
  std::string runningRevision;

  /// The revision that the next reset activates, of firmware that waits for one; empty when none does.
  std::string stagedRevision() const;
};

/// Every NVMe PCIe controller that the kernel knows, sorted by address. A controller that is being reset is
/// not waited for.
std::vector<DriveFacts> readDrives(Host& host);

}  // namespace nvme_linux
