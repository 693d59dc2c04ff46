#include "FirmwareSlots.h"

#include <algorithm>

namespace nvme_linux {

namespace {

constexpr std::size_t kAFI = 0;
constexpr std::size_t kFRS1 = 8;  // the others follow, 8 bytes each

constexpr unsigned int kAfiSlotMask = 7;
constexpr unsigned int kAfiUpdateInProgress = 1U << 3;
constexpr unsigned int kAfiNextShift = 4;

}  // namespace

bool FirmwareSlots::isEmpty(unsigned int slot) const {
  const Revision& revision = revisionOf(slot);
  return std::all_of(revision.begin(), revision.end(), [](char c) { return c == '\0' || c == ' '; });
}

unsigned int FirmwareSlots::staged(const std::string& runs) const {
  if (next == 0 || next != running) return next;
  // Some drives name the running slot although nothing waits: only other firmware in it does.
  const std::string holds = textOf(revisionOf(next));
  const bool isOther = !runs.empty() && !holds.empty() && holds != runs;
  return isOther ? next : 0;
}

FirmwareSlots parseFirmwareSlots(std::span<const std::uint8_t, FirmwareSlots::kLength> data) {
  FirmwareSlots slots{};
  slots.running = data[kAFI] & kAfiSlotMask;
  slots.updateInProgress = (data[kAFI] & kAfiUpdateInProgress) != 0;
  slots.next = (data[kAFI] >> kAfiNextShift) & kAfiSlotMask;
  for (std::size_t i = 0; i < slots.revisions.size(); ++i) {
    FirmwareSlots::Revision& revision = slots.revisions.at(i);
    const auto field = data.subspan(kFRS1 + i * revision.size(), revision.size());
    std::copy(field.begin(), field.end(), revision.begin());
  }
  return slots;
}

std::optional<unsigned int> chooseSlot(const Identity& identity, const FirmwareSlots& slots) {
  if (slots.running == 0 || identity.slots == 0) return 0;
  const auto isWritable = [&](unsigned int slot) { return slot != 1 || !identity.isFirstSlotReadOnly; };
  const unsigned int staged = slots.staged(textOf(identity.revision));
  if (staged != 0 && staged <= identity.slots && isWritable(staged)) return staged;
  std::optional<unsigned int> chosen;
  // Round the slots, beginning after the running one and ending with it: the one after it is the oldest where
  // updates went round before.
  for (unsigned int i = 0; i < identity.slots; ++i) {
    const unsigned int slot = (slots.running + i) % identity.slots + 1;
    if (!isWritable(slot)) continue;
    if (slot != slots.running && slots.isEmpty(slot)) return slot;
    if (!chosen) chosen = slot;
  }
  return chosen;
}

}  // namespace nvme_linux
