// What a drive says of itself: 512 bytes of the firmware slots' log, then its Identify Controller data.

#include <algorithm>
#include <array>
#include <string>

#include "FirmwareSlots.h"
#include "FirmwareUpdate.h"
#include "FuzzSupport.h"
#include "Identity.h"

namespace {

using nvme_linux::FirmwareSlots;
using nvme_linux::Identity;

/// What lies beyond the input's end is zero, as in a drive that knows no more.
template <std::size_t Size>
std::array<std::uint8_t, Size> take(fuzz::Input& input) {
  std::array<std::uint8_t, Size> data{};
  const auto bytes = input.take(Size);
  std::copy(bytes.begin(), bytes.end(), data.begin());
  return data;
}

void checkIdentity(const Identity& identity) {
  PROMISE(identity.slots <= 7);
  PROMISE(identity.granularity == 4 || identity.granularity % 4096 == 0);
  PROMISE(identity.granularity <= 254 * 4096);
  const std::size_t transfer = identity.maximumTransfer;
  PROMISE(transfer == 0 || (transfer >= 8192 && (transfer & (transfer - 1)) == 0));
  PROMISE(identity.activationTime <= std::chrono::milliseconds(6553500));
  const std::size_t piece = nvme_linux::pieceSize(identity);
  PROMISE(piece > 0 && piece % 4096 == 0 && (transfer == 0 || piece <= transfer));
}

template <class Field>
void checkPrintable(const Field& field) {
  const std::string text = nvme_linux::printable(field);
  PROMISE(text.size() <= field.size() && !text.ends_with(' '));
  PROMISE(std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; }));
}

void checkSlot(const Identity& identity, const FirmwareSlots& slots) {
  const auto slot = nvme_linux::chooseSlot(identity, slots);
  if (!slot) {
    PROMISE(identity.slots == 1 && identity.isFirstSlotReadOnly);
    return;
  }
  PROMISE((*slot == 0) == (identity.slots == 0 || slots.running == 0));
  if (*slot == 0) return;
  const auto isWritable = [&](unsigned int number) {
    return number != 0 && number <= identity.slots && (number != 1 || !identity.isFirstSlotReadOnly);
  };
  PROMISE(isWritable(*slot));
  // What waits for the next reset is replaced, and nothing else.
  const std::string runs = nvme_linux::textOf(identity.revision);
  const unsigned int staged = slots.staged(runs);
  PROMISE(staged == slots.next || (staged == 0 && slots.next == slots.running));
  PROMISE(staged == 0 || staged != slots.running || nvme_linux::textOf(slots.revisionOf(staged)) != runs);
  PROMISE(!isWritable(staged) || *slot == staged);
  if (isWritable(staged) || (slots.isEmpty(*slot) && *slot != slots.running)) return;
  // No other slot that can be written is empty, and the running one is the last choice.
  for (unsigned int other = identity.isFirstSlotReadOnly ? 2 : 1; other <= identity.slots; ++other) {
    PROMISE(other == slots.running || !slots.isEmpty(other));
    PROMISE(*slot != slots.running || other == slots.running);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Input input(data, size);
  const FirmwareSlots slots = nvme_linux::parseFirmwareSlots(take<FirmwareSlots::kLength>(input));
  const Identity identity = nvme_linux::parseIdentity(take<Identity::kLength>(input));
  PROMISE(slots.running <= 7 && slots.next <= 7);
  checkIdentity(identity);
  checkPrintable(identity.serial);
  checkPrintable(identity.model);
  checkPrintable(identity.revision);
  for (const auto& revision : slots.revisions) checkPrintable(revision);
  checkSlot(identity, slots);
  return 0;
}
