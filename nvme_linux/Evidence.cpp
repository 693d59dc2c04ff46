#include "Evidence.h"

namespace nvme_linux {

namespace {

/// What a commit may change, in the slot that it wrote.
struct Changes {
  bool runsOtherRevision;
  bool runsOtherSlot;
  bool slotHasOtherRevision;
  bool isNextNow;  ///< and was not before

  bool any() const { return runsOtherRevision || runsOtherSlot || slotHasOtherRevision || isNextNow; }
};

Changes changesIn(unsigned int slot, const FirmwareState& before, const FirmwareState& after) {
  return {.runsOtherRevision = before.identity.revision != after.identity.revision,
          .runsOtherSlot = before.slots.running != after.slots.running && after.slots.running == slot,
          .slotHasOtherRevision = before.slots.revisionOf(slot) != after.slots.revisionOf(slot),
          .isNextNow = after.slots.next == slot && before.slots.next != slot};
}

/// Likewise, in any slot.
Changes changesAnywhere(const FirmwareState& before, const FirmwareState& after) {
  return {.runsOtherRevision = before.identity.revision != after.identity.revision,
          .runsOtherSlot = before.slots.running != after.slots.running,
          .slotHasOtherRevision = before.slots.revisions != after.slots.revisions,
          .isNextNow = after.staged() != 0 && before.slots.next != after.slots.next};
}

Changes changesOf(unsigned int slot, const FirmwareState& before, const FirmwareState& after) {
  return slot == 0 ? changesAnywhere(before, after) : changesIn(slot, before, after);
}

bool waitsIn(unsigned int slot, const FirmwareState& before, const FirmwareState& after) {
  const unsigned int staged = after.staged();
  if (staged != 0 && (slot == 0 || staged == slot)) return true;
  // Written into the slot that runs all along, by a drive that does not tell the next one.
  return slot != 0 && slot == before.slots.running && slot == after.slots.running &&
         textOf(after.slots.revisionOf(slot)) != textOf(after.identity.revision);
}

Evidence runsOrWaits(unsigned int slot, const FirmwareState& before, const FirmwareState& after,
                     const Changes& changes) {
  const bool runsOther = changes.runsOtherRevision || changes.runsOtherSlot;
  return runsOther && !waitsIn(slot, before, after) ? Evidence::kRuns : Evidence::kWaits;
}

}  // namespace

Evidence evidenceOf(unsigned int slot, const FirmwareState& before, const FirmwareState& after) {
  const Changes changes = changesOf(slot, before, after);
  if (changes.any()) return runsOrWaits(slot, before, after, changes);
  // Staged before and staged again, perhaps with the same image: what the drive says fits what it shows.
  if (waitsIn(slot, before, after)) return Evidence::kWaits;
  return slot == 0 || slot == before.slots.running ? Evidence::kSame : Evidence::kNone;
}

Evidence evidenceOfLost(unsigned int slot, const FirmwareState& before, const FirmwareState& after) {
  const Changes changes = changesOf(slot, before, after);
  // A reset activates what was staged before, and other running firmware shows nothing then.
  const bool isProof =
      waitsIn(slot, before, before) || before.staged() != 0 ? changes.slotHasOtherRevision : changes.any();
  return isProof ? runsOrWaits(slot, before, after, changes) : Evidence::kNone;
}

}  // namespace nvme_linux
