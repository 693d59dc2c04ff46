#pragma once

#include "FirmwareSlots.h"
#include "Identity.h"

namespace nvme_linux {

/// What a drive says of its firmware at one moment.
struct FirmwareState {
  Identity identity{};
  FirmwareSlots slots{};

  unsigned int staged() const { return slots.staged(textOf(identity.revision)); }
  bool isBusy() const { return slots.isBusy(textOf(identity.revision)); }
};

/// What slot log and revision, before and after a commit, show of it.
enum class Evidence {
  kRuns,   ///< the drive runs the new firmware
  kWaits,  ///< the new firmware waits for a reset
  kSame,   ///< nothing changed, as if the image were the one that ran from that slot before
  kNone,   ///< nothing changed that a commit would have changed
};

/// Of a commit to `slot` (0: of the drive's choice) that the drive says it carried out.
Evidence evidenceOf(unsigned int slot, const FirmwareState& before, const FirmwareState& after);

/// Of a commit whose answer was lost, possibly through a reset. Stricter: what a reset alone brings about is
/// no evidence, nor is what was so before. Never `kSame`.
Evidence evidenceOfLost(unsigned int slot, const FirmwareState& before, const FirmwareState& after);

}  // namespace nvme_linux
