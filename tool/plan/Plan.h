// What an update would do to each drive, and why: decided from what is known before it. Touches nothing.

#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "Document.h"
#include "DriveFacts.h"
#include "Payload.h"
#include "Policy.h"
#include "Verdict.h"

namespace tool {

/// A drive that took firmware earlier, as an own run has recorded it: in this boot, or in this run.
struct EarlierFlash {
  std::string serial{};
  PciIds pci{};
  std::string sha256{};    ///< of the payload that it took
  std::string revision{};  ///< that waits for the reset; empty when nobody knows it
  bool isRunning = false;  ///< `revision` has run since the flash: nothing waits
};

/// Everything that the decision is made from.
struct PlanInput {
  std::span<const Record> inventory{};  ///< records of the component's inventory, in document order
  std::span<const DriveFacts>
      kernel{};  ///< by address; a drive that is not among them is not refused for that
  Policy policy{};
  Payload payload{};

  /// The package's drive library obeys drives.allow (Package::hasOwnLibrary): single drives can be left out.
  /// Any other one flashes every drive that it finds.
  bool obeysList{};
  std::span<const EarlierFlash> earlier{};  ///< counts for drives whose slots are not known
};

struct Plan {
  /// The drives in the order of the inventory, each kFlash, kCurrent, kStaged, kRefused or kUnhealthy, with
  /// `before`, `staged` and `wanted`. The outcome is kDone, or kRefused when the run or a drive is
  /// refused, or a drive is unhealthy. Reasons tell why the whole run is refused: no drive is
  /// kFlash then.
  Verdict verdict{};

  /// What the kernel knows of each drive; null for a drive that it does not know. Points into the input.
  std::vector<const DriveFacts*> facts{};

  /// The serial numbers for drives.allow in the copy of the package that the update runs on: the drives that
  /// are flashed, and no other. Nothing when every drive is flashed, or none, or the library takes no list.
  std::optional<std::vector<std::string>> allowed{};

  /// How many drives are to be flashed. With a library that takes no list, those that are current or staged
  /// are flashed again beside them.
  std::size_t toFlash() const;
};

/// A drive of the inventory is found in the kernel's list by serial number and ids; several with the same
/// ones are taken in order, if there are as many there.
Plan planUpdate(const PlanInput& input);

}  // namespace tool
