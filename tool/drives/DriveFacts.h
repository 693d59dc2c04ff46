// What this machine's kernel and its NVMe PCIe drives tell, as plain values: for commands that show drives or
// decide about updates. Nothing here changes a drive.

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Document.h"
#include "DriveUse.h"
#include "Host.h"

namespace tool {

/// The reason of the state "staged".
inline constexpr char kStagedReason[] = "it has taken firmware that runs after a reset";

/// The firmware slots of a drive. Revisions have no padding.
struct DriveSlots {
  std::vector<std::string> revisions{};  ///< of slot 1 and those after it; empty for an empty slot
  unsigned int running{};                ///< slot of the running firmware; 0: the drive does not tell
  unsigned int next{};                   ///< slot that the next reset activates; 0: none, or not told
  bool isUpdateInProgress = false;       ///< the drive says that it is being updated
  bool isRunningSlotStaged = false;  ///< `next` is the running slot, and it holds other firmware than runs

  /// Firmware waits for the next reset.
  bool isStaged() const;

  /// The revision that waits; empty when none does, or its slot names none.
  std::string stagedRevision() const;
};

/// One PCIe controller, and the drive behind it. Texts have no padding, and are empty when nobody tells them.
struct DriveFacts {
  std::string controller{};     ///< the kernel's name: "nvme0"
  std::string address{};        ///< "0000:01:00.0"
  std::optional<PciIds> pci{};  ///< written as result documents have them
  std::string serial{};
  std::string model{};
  std::string revision{};  ///< what it runs; from the kernel, which may be older, where the drive is silent

  /// The other controllers of the same drive ("nvme1"), which share everything below.
  std::vector<std::string> siblings{};

  // From the drive itself: nothing without root, and for a drive that does not answer.
  std::optional<DriveSlots> slots{};
  std::optional<unsigned int> criticalWarning{};  ///< of its SMART log, by bits; 0: healthy

  std::vector<nvme_linux::DriveUse> uses{};  ///< what is known to use the drive
  bool areUsesComplete = false;              ///< false without root: something else may use it

  // From a package; nothing when none was asked about.
  std::optional<bool> isInPackage{};      ///< package.xml names it
  std::optional<bool> isUpdateAllowed{};  ///< and allows an update from what it runs (fromRevision)

  /// True while every use has another healthy leg, as for an unused drive; false as soon as one has none;
  /// nothing when that depends on uses that are not known.
  std::optional<bool> isRedundant() const;

  /// What the bits of the critical warning mean: "spare below its threshold". Empty for a healthy drive, and
  /// for one that tells nothing.
  std::vector<std::string> warnings() const;

  /// Why the drive is unhealthy, and not to be updated, as a sentence: a critical warning, or an update in
  /// progress. Empty for a healthy drive, and for one that tells nothing.
  std::string ailment() const;
};

/// The drives of a machine.
struct DriveList {
  std::vector<DriveFacts> drives{};     ///< by address
  std::vector<std::string> problems{};  ///< about the package, for a person; empty when it names drives
};

/// Every NVMe PCIe controller that the kernel of `host` knows. `package` is the component folder to ask
/// about; empty for none. `host` needs no root, which leaves out what DriveFacts says.
DriveList readDriveFacts(nvme_linux::Host& host, const std::filesystem::path& package = {});

/// Likewise of this machine. Nothing goes to the system log.
DriveList readDriveFacts(const std::filesystem::path& package = {});

}  // namespace tool
