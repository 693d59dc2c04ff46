#include "FirmwareUpdate.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <span>

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kLongestPayload = 128U << 20;  // an order of magnitude above any image
constexpr std::size_t kUsualPiece = 4096;

constexpr std::chrono::milliseconds kIdleBound = 30s;
constexpr std::chrono::milliseconds kAfterDownloadBound = 10s;
constexpr std::chrono::milliseconds kAfterCommitBound = 10s;
constexpr std::chrono::milliseconds kLongestWait = 5min;
constexpr std::chrono::milliseconds kPause = 500ms;

/// As long as the drive may take to activate firmware, within bounds: it may state almost two hours.
std::chrono::milliseconds waitFor(const Identity& identity, std::chrono::milliseconds atLeast) {
  return std::clamp(identity.activationTime, atLeast, kLongestWait);
}

std::size_t smallerPiece(std::size_t size) {
  return std::max(kUsualPiece, size / 2 / kUsualPiece * kUsualPiece);
}

/// The slot runs and did not before, or has other firmware than before.
bool hasActivated(unsigned int slot, const FirmwareSlots& before, const FirmwareSlots& after) {
  return after.running == slot &&
         (before.running != slot || before.revisionOf(slot) != after.revisionOf(slot));
}

bool isGone(const Outcome& outcome) {
  return outcome.failedWith(ENODEV) || outcome.failedWith(ENXIO);
}

}  // namespace

std::size_t pieceSize(const Identity& identity) {
  const std::size_t size = identity.granularity != 0 ? identity.granularity : kUsualPiece;
  return identity.maximumTransfer != 0 ? std::min(size, identity.maximumTransfer) : size;
}

FirmwareUpdate::FirmwareUpdate(Host& host, const PciController& controller)
    : m_host(host), m_controller(host, controller) {}

Outcome FirmwareUpdate::run(const std::string& payloadPath) {
  Outcome outcome = readPayload(payloadPath);
  if (outcome.isSuccess()) outcome = openAndLock();
  if (outcome.isSuccess()) outcome = identify();
  if (outcome.isSuccess()) outcome = refuseIfBusy();
  if (outcome.isSuccess()) outcome = chooseSlotToWrite();
  if (outcome.isSuccess()) outcome = download();
  if (outcome.isSuccess()) outcome = waitAfterDownload();
  if (outcome.isSuccess()) outcome = m_controller.commit(m_slot);
  if (outcome.isSuccess()) reportCommitted(outcome);
  return outcome;
}

Outcome FirmwareUpdate::readPayload(const std::string& path) {
  Outcome outcome = m_host.readFile(path, kLongestPayload, m_payload);
  if (outcome.isSuccess() && m_payload.empty()) outcome = Outcome::failed(ENODATA);
  if (outcome.isSuccess() && m_payload.size() % 4 != 0) outcome = Outcome::failed(EINVAL);
  if (!outcome.isSuccess()) m_controller.report(LOG_ERR, "payload " + path + " refused: " + outcome.text());
  return outcome;
}

Outcome FirmwareUpdate::openAndLock() {
  Outcome outcome = m_controller.open();
  if (outcome.isSuccess()) outcome = m_controller.lock();
  // Once more: the drive may have been swapped before the lock was had.
  if (outcome.isSuccess()) outcome = m_controller.confirm();
  return outcome;
}

Outcome FirmwareUpdate::identify() {
  const Outcome outcome = m_controller.identify(m_identity);
  if (!outcome.isSuccess()) return outcome;
  if (!m_identity.takesFirmware) {
    m_controller.report(LOG_ERR, "it takes no firmware");
    return Outcome::failed(EOPNOTSUPP);
  }
  m_controller.allowFirmwareCommands(m_identity.activationTime);
  return outcome;
}

Outcome FirmwareUpdate::waitUntilIdle(std::chrono::milliseconds bound) {
  const auto end = m_host.now() + bound;
  for (;;) {
    const Outcome outcome = m_controller.readSlots(m_slots);
    if (!outcome.isSuccess() || !m_slots.updateInProgress) return outcome;
    if (m_host.now() >= end) return Outcome::failed(EALREADY);
    m_host.sleep(kPause);
  }
}

Outcome FirmwareUpdate::refuseIfBusy() {
  const Outcome outcome = waitUntilIdle(waitFor(m_identity, kIdleBound));
  if (outcome.failedWith(EALREADY))
    m_controller.report(LOG_ERR, "drive still reports an update in progress; refusing");
  return outcome;
}

Outcome FirmwareUpdate::chooseSlotToWrite() {
  const auto slot = chooseSlot(m_identity, m_slots);
  if (!slot) {
    m_controller.report(LOG_ERR, "none of its firmware slots can be written");
    return Outcome::failed(EROFS);
  }
  m_slot = *slot;
  return Outcome::success();
}

Outcome FirmwareUpdate::download() {
  const std::span<const std::uint8_t> image(m_payload);
  std::size_t size = pieceSize(m_identity);
  for (std::size_t offset = 0; offset < image.size();) {
    const auto piece = image.subspan(offset, std::min(size, image.size() - offset));
    const Outcome outcome = m_controller.download(piece, offset);
    if (outcome.isSuccess()) {
      offset += piece.size();
    } else if (!outcome.failedWith(EINVAL)) {
      return outcome;
    } else if (piece.size() <= kUsualPiece) {
      m_controller.report(LOG_ERR, "the kernel refused a piece of " + std::to_string(piece.size()) +
                                       " bytes; the update ends");
      return outcome;
    } else {
      // The kernel's own limit is stated nowhere. A piece beyond it never reached the drive.
      size = smallerPiece(piece.size());
      m_controller.report(LOG_INFO, "the kernel refused a piece of " + std::to_string(piece.size()) +
                                        " bytes; pieces have " + std::to_string(size) +
                                        " bytes from here on");
    }
  }
  return Outcome::success();
}

/// Some drives are still digesting the last piece. Some report the image just downloaded as an update in
/// progress: we hold the lock and saw the drive idle before, so the image is committed once the bound has
/// passed.
Outcome FirmwareUpdate::waitAfterDownload() {
  const Outcome outcome = waitUntilIdle(kAfterDownloadBound);
  if (!outcome.failedWith(EALREADY)) return outcome;
  m_controller.report(LOG_WARNING, "drive still reports an update in progress; committing all the same");
  return Outcome::success();
}

/// The drive's answer to the commit stands: nothing that goes wrong here, lack of memory included, may turn a
/// committed image into a failure.
void FirmwareUpdate::reportCommitted(const Outcome& committed) noexcept {
  try {
    if (committed.isResetOwed())
      m_controller.report(LOG_NOTICE, "committed; it needs a reset to run the firmware");
    reportResultingSlots();
  } catch (const std::exception&) {
    return;
  }
}

/// Reads slots and identity after the commit. A drive may need a while before it answers again.
Outcome FirmwareUpdate::readBack(FirmwareSlots& slots, Identity& identity) {
  const Controller::Silence silence(m_controller);
  const auto end = m_host.now() + waitFor(m_identity, kAfterCommitBound);
  for (;;) {
    Outcome outcome = m_controller.readSlots(slots);
    if (outcome.isSuccess()) outcome = m_controller.identify(identity);
    if (outcome.isSuccess() || isGone(outcome) || m_host.now() >= end) return outcome;
    m_host.sleep(kPause);
  }
}

void FirmwareUpdate::reportResultingSlots() {
  FirmwareSlots slots;
  Identity identity;
  const Outcome outcome = readBack(slots, identity);
  if (!outcome.isSuccess()) {
    m_controller.report(LOG_WARNING, "committed, but it does not answer since: " + outcome.text());
    return;
  }
  const std::string before = printable(m_identity.revision);
  const std::string now = printable(identity.revision);
  const std::string revisions = now == before ? "it runs " + now : "it ran " + before + " and runs " + now;
  const std::string slot = m_slot == 0 ? "a slot of its own choice" : "slot " + std::to_string(m_slot);
  const bool isNext = m_slot == 0 ? slots.next != 0 : slots.next == m_slot;
  if (m_slot == 0 || isNext || hasActivated(m_slot, m_slots, slots) ||
      (slots.running == m_slot && now != before)) {
    const char* const when = isNext ? ", for the next reset" : "";
    m_controller.report(LOG_NOTICE, "committed to " + slot + when + "; " + revisions);
  } else {
    m_controller.report(LOG_WARNING, "committed to " + slot + ", but its log does not say so; " + revisions);
  }
}

}  // namespace nvme_linux
