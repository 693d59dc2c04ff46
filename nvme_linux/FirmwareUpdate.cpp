#include "FirmwareUpdate.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <exception>

#include "Outcome.h"

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kLongestPayload = 128U << 20;  // an order of magnitude above any image
constexpr std::size_t kUsualPiece = 4096;

constexpr std::chrono::milliseconds kIdleBound = 30s;
constexpr std::chrono::milliseconds kSettleBound = 10s;
constexpr std::chrono::milliseconds kLongestWait = 5min;
constexpr std::chrono::milliseconds kPause = 500ms;

/// As long as the drive may take to activate firmware, within bounds: it may state almost two hours.
std::chrono::milliseconds waitFor(const Identity& identity, std::chrono::milliseconds atLeast) {
  return std::clamp(identity.activation, atLeast, kLongestWait);
}

std::size_t smallerPiece(std::size_t size) {
  return std::max(kUsualPiece, size / 2 / kUsualPiece * kUsualPiece);
}

/// The slot runs and did not before, or has other firmware than before.
bool hasActivated(unsigned int slot, const FirmwareSlots& before, const FirmwareSlots& after) {
  return after.running == slot &&
         (before.running != slot || before.revisions.at(slot - 1) != after.revisions.at(slot - 1));
}

bool isGone(int result) {
  return result == -ENODEV || result == -ENXIO;
}

}  // namespace

std::optional<unsigned int> chooseSlot(const Identity& identity, const FirmwareSlots& slots) {
  if (slots.running == 0 || identity.slots == 0) return 0;
  std::optional<unsigned int> chosen;
  // Round the slots, beginning behind the running one and ending with it.
  for (unsigned int i = 0; i < identity.slots; ++i) {
    const unsigned int slot = (slots.running + i) % identity.slots + 1;
    if (slot == 1 && identity.firstSlotReadOnly) continue;
    if (slot != slots.running && slots.isEmpty(slot)) return slot;
    if (!chosen) chosen = slot;
  }
  return chosen;
}

std::size_t pieceSize(const Identity& identity) {
  const std::size_t size = identity.granularity != 0 ? identity.granularity : kUsualPiece;
  return identity.maximumTransfer != 0 ? std::min(size, identity.maximumTransfer) : size;
}

FirmwareUpdate::FirmwareUpdate(Host& host, const PciController& controller)
    : m_host(host), m_controller(host, controller) {}

int FirmwareUpdate::run(const std::string& payloadPath) {
  int result = readPayload(payloadPath);
  if (result == 0) result = takeDrive();
  if (result == 0) result = identify();
  if (result == 0) result = requireIdle();
  if (result == 0) result = prepareSlot();
  if (result == 0) result = download();
  if (result == 0) result = settle();
  if (result == 0) result = commit();
  if (result == 0 || result == status::kResetOwed) checkOutcome(result);
  return result;
}

int FirmwareUpdate::readPayload(const std::string& path) {
  int result = m_host.readFile(path, kLongestPayload, m_payload);
  if (result == 0 && m_payload.empty()) result = -ENODATA;
  if (result == 0 && m_payload.size() % 4 != 0) result = -EINVAL;
  if (result != 0) m_controller.report(LOG_ERR, "payload " + path + " refused: " + status::describe(result));
  return result;
}

int FirmwareUpdate::takeDrive() {
  int result = m_controller.open();
  if (result == 0) result = m_controller.lock();
  if (result == 0) result = m_controller.confirm();
  return result;
}

int FirmwareUpdate::identify() {
  const int result = m_controller.identify(m_identity);
  if (result != 0) return result;
  if (!m_identity.takesFirmware) {
    m_controller.report(LOG_ERR, "it takes no firmware");
    return -EOPNOTSUPP;
  }
  m_controller.allowFor(m_identity.activation);
  return 0;
}

int FirmwareUpdate::awaitIdle(std::chrono::milliseconds bound) {
  const auto end = m_host.now() + bound;
  for (;;) {
    const int result = m_controller.readSlots(m_slots);
    if (result != 0) return result;
    if (!m_slots.updateInProgress) return 0;
    if (m_host.now() >= end) return -EALREADY;
    m_host.sleep(kPause);
  }
}

int FirmwareUpdate::requireIdle() {
  const int result = awaitIdle(waitFor(m_identity, kIdleBound));
  if (result == -EALREADY)
    m_controller.report(LOG_ERR, "it goes on saying that an update is in progress; this one is refused");
  return result;
}

int FirmwareUpdate::prepareSlot() {
  const auto slot = chooseSlot(m_identity, m_slots);
  if (!slot) {
    m_controller.report(LOG_ERR, "none of its firmware slots can be written");
    return -EROFS;
  }
  m_slot = *slot;
  return 0;
}

int FirmwareUpdate::download() {
  const std::span<const std::uint8_t> image(m_payload);
  std::size_t size = pieceSize(m_identity);
  for (std::size_t offset = 0; offset < image.size();) {
    const auto piece = image.subspan(offset, std::min(size, image.size() - offset));
    const int result = m_controller.download(piece, offset);
    if (result == 0) {
      offset += piece.size();
    } else if (result != -EINVAL) {
      return result;
    } else {
      // The kernel tells nowhere how much it transfers at once; a piece beyond that never reached the drive.
      const bool isShort = piece.size() <= kUsualPiece;
      if (!isShort) size = smallerPiece(piece.size());
      m_controller.report(
          isShort ? LOG_ERR : LOG_INFO,
          "the kernel refused a piece of " + std::to_string(piece.size()) + " bytes; " +
              (isShort ? "the update ends" : "pieces have " + std::to_string(size) + " bytes from here on"));
      if (isShort) return result;
    }
  }
  return 0;
}

/// The drive was idle before the download and nobody else may flash it: a drive that goes on saying that an
/// update is in progress means this one, and the commit goes out.
int FirmwareUpdate::settle() {
  const int result = awaitIdle(kSettleBound);
  if (result != -EALREADY) return result;
  m_controller.report(LOG_WARNING,
                      "it goes on saying that an update is in progress; the image is committed all the same");
  return 0;
}

int FirmwareUpdate::commit() {
  return m_controller.commit(m_slot);
}

void FirmwareUpdate::checkOutcome(int committed) noexcept {
  try {
    if (committed == status::kResetOwed)
      m_controller.report(LOG_NOTICE, "committed; it needs a reset to run the firmware");
    reportOutcome();
  } catch (const std::exception&) {
    return;  // with no memory for a line there is none to say so either; the drive is committed all the same
  }
}

/// The drive's answer to the commit stands; this tells the administrator what has become of it. A drive may
/// need a while before it answers again.
void FirmwareUpdate::reportOutcome() {
  const FirmwareSlots slotsBefore = m_slots;
  const std::string before = printable(m_identity.revision);
  const auto end = m_host.now() + waitFor(m_identity, kSettleBound);
  int result = 0;
  for (;;) {
    result = m_controller.readSlots(m_slots, LOG_INFO);
    if (result == 0) result = m_controller.identify(m_identity, LOG_INFO);
    if (result == 0 || isGone(result) || m_host.now() >= end) break;
    m_host.sleep(kPause);
  }
  if (result != 0) {
    m_controller.report(LOG_WARNING, "committed, but it does not answer since: " + status::describe(result));
    return;
  }
  const std::string now = printable(m_identity.revision);
  const std::string revisions = now == before ? "it runs " + now : "it ran " + before + " and runs " + now;
  const std::string slot = m_slot == 0 ? "a slot of its own choice" : "slot " + std::to_string(m_slot);
  const bool isNext = m_slot == 0 ? m_slots.next != 0 : m_slots.next == m_slot;
  if (m_slot == 0 || isNext || hasActivated(m_slot, slotsBefore, m_slots) ||
      (m_slots.running == m_slot && now != before)) {
    const char* const when = isNext ? ", for the next reset" : "";
    m_controller.report(LOG_NOTICE, "committed to " + slot + when + "; " + revisions);
  } else {
    m_controller.report(LOG_WARNING, "committed to " + slot + ", but its log does not say so; " + revisions);
  }
}

}  // namespace nvme_linux
