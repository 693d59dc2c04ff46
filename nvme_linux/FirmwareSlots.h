#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "Identity.h"

namespace nvme_linux {

/// The log page of the firmware slots (LID 03h).
struct FirmwareSlots {
  static constexpr std::size_t kLength = 512;  ///< of the log page, in bytes

  using Revision = std::array<char, 8>;

  unsigned int running{};   ///< AFI bits 2:0: slot of the running firmware; 0: not told
  unsigned int next{};      ///< AFI bits 6:4: slot that the next reset activates; 0: none, or not told
  bool updateInProgress{};  ///< AFI bit 3
  std::array<Revision, 7> revisions{};  ///< FRS1 to FRS7; zeros or blanks for an empty slot

  /// `slot` is 1 to 7.
  const Revision& revisionOf(unsigned int slot) const { return revisions.at(slot - 1); }
  bool isEmpty(unsigned int slot) const;

  /// The slot whose firmware waits for the next reset while `runs` is the revision that runs; 0 when none
  /// does. This is the running slot itself when it was written since: a drive with one slot has no other.
  unsigned int staged(const std::string& runs) const;

  /// An update is under way: the bit that says so counts only while nothing is staged.
  bool isBusy(const std::string& runs) const { return updateInProgress && staged(runs) == 0; }
};

/// Every content of `data` gives slots; fields are taken as they stand.
FirmwareSlots parseFirmwareSlots(std::span<const std::uint8_t, FirmwareSlots::kLength> data);

/// The slot that an image goes into. Never a read-only one, and the running one, which holds the last
/// firmware that is known to work, only when no other can be written. In this order: the one that waits for
/// the next reset, so that repeated updates cost no further image; an empty one; the next one after the
/// running one. 0, for the drive to choose, when the drive does not say which slot runs or how many it has;
/// nothing when no slot can be written.
std::optional<unsigned int> chooseSlot(const Identity& identity, const FirmwareSlots& slots);

}  // namespace nvme_linux
