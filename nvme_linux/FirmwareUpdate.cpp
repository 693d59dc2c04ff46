#include "FirmwareUpdate.h"

#include <syslog.h>

#include <algorithm>
#include <cerrno>
#include <new>

#include "DriveUse.h"

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t kUsualPiece = 4096;
constexpr std::size_t kLargePiece = 128U << 10;
constexpr int kMostRestarts = 3;

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

bool isGone(const Outcome& outcome) {
  return outcome.failedWith(ENODEV) || outcome.failedWith(ENXIO);
}

bool isDrive(const PciController& remembered, const Identity& identity) {
  const auto is = [](const std::string& known, std::span<const char> field) {
    return known.empty() || known == textOf(field);
  };
  return is(remembered.serial, identity.serial) && is(remembered.model, identity.model);
}

}  // namespace

std::size_t pieceSize(const Identity& identity) {
  std::size_t size = identity.granularity;
  if (size == 0) size = kUsualPiece;
  if (size < kUsualPiece) size = kLargePiece;  // no restriction: few commands
  return identity.maximumTransfer != 0 ? std::min(size, identity.maximumTransfer) : size;
}

FirmwareUpdate::FirmwareUpdate(Host& host, const SupportedDrives& supported,
                               const std::vector<PciController>& controllers,
                               std::span<const std::uint8_t> image)
    : m_host(host),
      m_supported(supported),
      m_image(image),
      m_asked(static_cast<std::size_t>(std::count_if(
          controllers.begin(), controllers.end(),
          [&](const PciController& controller) { return controller.name < controllers.front().name; }))) {
  // Two runs that lock in different orders could turn each other away.
  std::vector<PciController> sorted = controllers;
  std::sort(sorted.begin(), sorted.end(),
            [](const PciController& a, const PciController& b) { return a.name < b.name; });
  for (const PciController& controller : sorted) m_controllers.emplace_back(host, controller);
}

Outcome FirmwareUpdate::run() {
  Outcome outcome = openAndLock();
  if (outcome.isSuccess()) outcome = chooseController();
  if (outcome.isSuccess()) outcome = refuseByIdentity();
  if (!outcome.isSuccess()) return outcome;
  m_controller->allowFirmwareCommands(m_before.identity.activationTime);
  reportUses();
  reportShortPiece();
  // Held until the result is in the log: a run that ends before leaves nobody who knows it.
  const auto held = m_host.holdSignals();
  outcome = transfer();
  return outcome.isSuccess() ? commit() : outcome;
}

Outcome FirmwareUpdate::openAndLock() {
  Outcome outcome = openControllers();
  for (Controller& controller : m_controllers) {
    if (outcome.isSuccess() && controller.isOpen()) outcome = controller.lock();
    // Again, since the drive may have been swapped before the lock was taken.
    if (outcome.isSuccess() && controller.isOpen()) outcome = controller.confirm();
  }
  return outcome;
}

/// Success when one is open at least. A reset is waited for only where no other controller is left.
Outcome FirmwareUpdate::openControllers() {
  bool isAnyOpen = false;
  for (Controller& controller : m_controllers) {
    if (m_controllers.size() == 1) break;
    const Controller::Silence silence(controller);
    isAnyOpen = controller.open(Controller::Wait::kNo).isSuccess() || isAnyOpen;
  }
  return isAnyOpen ? Outcome::success() : asked().open();
}

/// The one that was asked for, if it answers.
Outcome FirmwareUpdate::chooseController() {
  std::vector<Controller*> candidates{&asked()};
  for (Controller& controller : m_controllers) {
    if (&controller != &asked()) candidates.push_back(&controller);
  }
  Outcome outcome = Outcome::failed(ENODEV);
  for (Controller* const candidate : candidates) {
    if (!candidate->isOpen()) continue;
    outcome = candidate->identify(m_before.identity);
    m_controller = candidate;
    if (outcome.isSuccess()) break;
  }
  if (outcome.isSuccess() && m_controller != &asked())
    asked().report(LOG_NOTICE, "does not answer; updating through " + m_controller->remembered().addressText);
  return outcome;
}

Outcome FirmwareUpdate::refuseByIdentity() {
  const Identity& identity = m_before.identity;
  if (!isDrive(m_controller->remembered(), identity)) {
    m_controller->report(LOG_ERR, "identifies itself as another drive than the kernel found; refusing");
    return Outcome::failed(ENODEV);
  }
  if (!identity.takesFirmware) {
    m_controller->report(LOG_ERR, "it takes no firmware");
    return Outcome::failed(EOPNOTSUPP);
  }
  if (!m_supported.allowsUpdateFrom(asked().remembered(), textOf(identity.revision))) {
    m_controller->report(
        LOG_ERR, "it runs " + printable(identity.revision) + ", from which package.xml allows no update");
    return Outcome::failed(EPERM);
  }
  return Outcome::success();
}

void FirmwareUpdate::reportUses() {
  std::vector<std::string> names;
  for (const Controller& controller : m_controllers) names.push_back(controller.remembered().name);
  bool isComplete = false;
  for (const DriveUse& use : usesOf(m_host, names, isComplete))
    m_controller->report(LOG_NOTICE, "in use: " + use.text());
}

void FirmwareUpdate::reportShortPiece() {
  const std::size_t granularity = m_before.identity.granularity;
  if (granularity == 0 || m_image.size() % granularity == 0) return;
  m_controller->report(LOG_WARNING, "the image has " + std::to_string(m_image.size()) +
                                        " bytes, no multiple of the drive's granularity of " +
                                        std::to_string(granularity) +
                                        "; the drive may refuse the last piece");
}

/// A reset makes the drive forget what it was handed, whatever it answers afterwards. It may also have
/// activated what was staged, so that everything is looked at anew.
Outcome FirmwareUpdate::transfer() {
  for (int restarts = 0; restarts <= kMostRestarts; ++restarts) {
    m_watch = m_host.watchResets(m_controller->remembered().name);
    Outcome outcome = refuseIfBusy();
    if (outcome.isSuccess()) outcome = chooseSlotToWrite();
    if (outcome.isSuccess()) outcome = download();
    if (outcome.isSuccess() && !hasForgotten()) outcome = waitAfterDownload();
    if (!hasForgotten()) return outcome;
    m_mayHaveForgotten = false;
    m_controller->report(LOG_WARNING, "the controller was reset; the download starts again");
    if (!m_controller->waitUntilAnswers()) return outcome.isSuccess() ? Outcome::failed(EAGAIN) : outcome;
    outcome = m_controller->identify(m_before.identity);
    if (outcome.isSuccess()) outcome = refuseByIdentity();
    if (!outcome.isSuccess()) return outcome;
  }
  m_controller->report(LOG_ERR, "the controller is reset again and again; the update ends");
  return Outcome::failed(ECONNRESET);
}

bool FirmwareUpdate::hasForgotten() {
  return m_watch->wasReset().value_or(m_mayHaveForgotten);
}

Outcome FirmwareUpdate::waitUntilIdle(std::chrono::milliseconds bound) {
  const auto end = m_host.now() + bound;
  for (;;) {
    const Outcome outcome = m_controller->readSlots(m_before.slots);
    if (!outcome.isSuccess() || !m_before.isBusy()) return outcome;
    if (m_host.now() >= end) return Outcome::failed(EALREADY);
    m_host.sleep(kPause);
  }
}

Outcome FirmwareUpdate::refuseIfBusy() {
  const Outcome outcome = waitUntilIdle(waitFor(m_before.identity, kIdleBound));
  if (outcome.failedWith(EALREADY))
    m_controller->report(LOG_ERR, "drive still reports an update in progress; refusing");
  return outcome;
}

Outcome FirmwareUpdate::chooseSlotToWrite() {
  const auto slot = chooseSlot(m_before.identity, m_before.slots);
  if (!slot) {
    m_controller->report(LOG_ERR, "none of its firmware slots can be written");
    return Outcome::failed(EROFS);
  }
  m_slot = *slot;
  return Outcome::success();
}

Outcome FirmwareUpdate::download() {
  std::size_t size = pieceSize(m_before.identity);
  for (std::size_t offset = 0; offset < m_image.size();) {
    const auto piece = m_image.subspan(offset, std::min(size, m_image.size() - offset));
    const Outcome outcome = sendPiece(piece, offset);
    if (hasForgotten()) return outcome;
    if (outcome.isSuccess()) {
      offset += piece.size();
    } else if (startOverAfterOverlap(outcome)) {
      offset = 0;
    } else if (!outcome.failedWith(EINVAL)) {
      return outcome;
    } else if (piece.size() <= kUsualPiece) {
      m_controller->report(LOG_ERR, "the kernel refused a piece of " + std::to_string(piece.size()) +
                                        " bytes; the update ends");
      return outcome;
    } else {
      // The kernel's own limit is stated nowhere. A piece beyond it never reached the drive.
      size = smallerPiece(piece.size());
      m_controller->report(LOG_INFO, "the kernel refused a piece of " + std::to_string(piece.size()) +
                                         " bytes; pieces have " + std::to_string(size) +
                                         " bytes from here on");
    }
  }
  return Outcome::success();
}

/// A piece whose answer was lost is sent again, once. The drive that has it already says so by an overlap.
Outcome FirmwareUpdate::sendPiece(std::span<const std::uint8_t> piece, std::size_t offset) {
  const Outcome outcome = m_controller->download(piece, offset);
  if (!outcome.isLost() || outcome.failedWith(EINVAL) || !m_controller->waitUntilAnswers()) return outcome;
  // A controller answers a moment before the kernel announces that it has started again.
  m_host.sleep(kPause);
  m_mayHaveForgotten = true;  // unless the kernel knows better
  if (hasForgotten()) return outcome;
  m_controller->report(LOG_WARNING,
                       "no answer to the piece at byte " + std::to_string(offset) + "; it is sent again");
  const Outcome again = m_controller->download(piece, offset);
  return again.isOverlap() ? Outcome::success() : again;
}

/// Somebody's unfinished download is in the drive. Its first byte sent again begins a new one, in drives that
/// do not forbid that with the refusal.
bool FirmwareUpdate::startOverAfterOverlap(const Outcome& outcome) {
  if (!outcome.isOverlap()) return false;
  const bool mayStartOver = !m_hasStartedOver && !outcome.isFinal();
  m_hasStartedOver = true;
  m_controller->report(mayStartOver ? LOG_WARNING : LOG_ERR,
                       std::string("the drive holds a download that was left unfinished; ") +
                           (mayStartOver ? "starting over"
                                         : "a controller reset ends it: echo 1 >/sys/class/nvme/" +
                                               m_controller->remembered().name + "/reset_controller"));
  return mayStartOver;
}

/// Some drives are still digesting the last piece. Some report the image just downloaded as an update in
/// progress: we hold the lock and saw the drive idle before, so the image is committed once the bound has
/// passed.
Outcome FirmwareUpdate::waitAfterDownload() {
  const Outcome outcome = waitUntilIdle(kAfterDownloadBound);
  if (!outcome.failedWith(EALREADY)) return outcome;
  m_controller->report(LOG_WARNING, "drive still reports an update in progress; committing all the same");
  return Outcome::success();
}

/// Never sent again when its answer is lost: the slot log tells what became of it.
Outcome FirmwareUpdate::commit() {
  const Controller::Commit commit = m_controller->commit(m_slot);
  try {
    return judge(commit);
  } catch (const std::bad_alloc&) {
    // No line can be written, but a committed image stays committed.
    return commit.outcome;
  }
}

Outcome FirmwareUpdate::judge(const Controller::Commit& commit) {
  const Outcome& committed = commit.outcome;
  const bool isOverlapped = commit.isOverlapped && m_before.identity.detectsOverlaps;
  if (isOverlapped)
    m_controller->report(LOG_ERR,
                         "another host or its management updates this drive at the same time; the slot "
                         "may hold another image");
  if (!committed.isSuccess() && !committed.isLost()) return committed;
  FirmwareState after;
  Evidence evidence = Evidence::kNone;
  const Outcome answer = readBack(!committed.isSuccess(), after, evidence);
  if (!answer.isSuccess()) {
    m_controller->report(LOG_ERR, "it does not answer since the commit: " + answer.text());
  } else if (committed.isSuccess() || evidence != Evidence::kNone) {
    reportResult(evidence, after);
  }
  if (isOverlapped) return Outcome::failed(EBADE);
  if (evidence == Evidence::kWaits || committed.isResetOwed()) return Outcome::resetOwed();
  if (evidence != Evidence::kNone) return Outcome::success();
  return committed.isSuccess() ? Outcome::failed(EREMOTEIO) : committed;
}

/// A drive may need a while before it answers again, or before its log shows the commit.
Outcome FirmwareUpdate::readBack(bool isLost, FirmwareState& after, Evidence& evidence) {
  if (isLost) m_controller->waitUntilAnswers();
  const Controller::Silence silence(*m_controller);
  const auto end = m_host.now() + waitFor(m_before.identity, kAfterCommitBound);
  for (;;) {
    Outcome outcome = m_controller->readSlots(after.slots);
    if (outcome.isSuccess()) outcome = m_controller->identify(after.identity);
    if (outcome.isSuccess())
      evidence = isLost ? evidenceOfLost(m_slot, m_before, after) : evidenceOf(m_slot, m_before, after);
    // Some drives bring the log up to date only after they have answered.
    if (evidence != Evidence::kNone || isGone(outcome) || m_host.now() >= end) return outcome;
    m_host.sleep(kPause);
  }
}

void FirmwareUpdate::reportResult(Evidence evidence, const FirmwareState& after) {
  const std::string before = printable(m_before.identity.revision);
  const std::string now = printable(after.identity.revision);
  const std::string revisions = now == before ? "it runs " + now : "it ran " + before + " and runs " + now;
  const std::string what =
      "committed to " + (m_slot == 0 ? "a slot of its own choice" : "slot " + std::to_string(m_slot));
  switch (evidence) {
    case Evidence::kRuns:
      return m_controller->report(LOG_NOTICE, what + "; " + revisions);
    case Evidence::kWaits:
      return m_controller->report(LOG_NOTICE, what + ", for the next reset; " + revisions);
    case Evidence::kSame:
      return m_controller->report(LOG_NOTICE,
                                  what + ", which looks as before, as with the same image; " + revisions);
    case Evidence::kNone:
      return m_controller->report(LOG_ERR,
                                  what + ", but neither slot log nor revision shows it; " + revisions);
  }
}

}  // namespace nvme_linux
