#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "Controller.h"
#include "Evidence.h"
#include "SupportedDrives.h"

namespace nvme_linux {

/// How many bytes of an image one command takes: what the drive states as its granularity, 4 KiB when it
/// states none and 128 KiB when it has none, but never more than the drive takes at once.
std::size_t pieceSize(const Identity& identity);

/// One update of one drive, through one of its controllers.
///
/// While an update goes on every controller of the drive is locked, with flock(2) on its device node: the
/// nodes are what all runs on a machine share, in containers too, and nobody but root can hold them. A
/// controller that cannot be opened is done without. Two runs always have one lock in common as long as one
/// controller can be opened by both.
class FirmwareUpdate {
 public:
  /// `controllers` are all those of the drive, as callers remember them; the first one is asked for. `host`,
  /// `supported` and `image` must outlive the object.
  FirmwareUpdate(Host& host, const SupportedDrives& supported, const std::vector<PciController>& controllers,
                 std::span<const std::uint8_t> image);

  /// Flashes the image; called once. Success: the drive says that it committed, and shows it; with a reset
  /// owed while the new firmware waits for one. A refusal is the first status with which the drive refused a
  /// command. A failure is the errno of a command that never reached the drive or got no answer, or one of
  /// these:
  ///   EAGAIN      the controller is in a reset that does not end
  ///   EBUSY       another run is updating this drive
  ///   ENODEV      it is not, or no longer, the drive that was found
  ///   EOPNOTSUPP  the drive takes no firmware
  ///   EPERM       the package allows no update from the revision that it runs
  ///   EALREADY    the drive still reports an update in progress
  ///   EROFS       no slot can be written
  ///   ECONNRESET  the controller was reset during the download, again and again
  ///   ETIMEDOUT   no answer to the commit in time, and nothing shows that it was carried out
  ///   EREMOTEIO   the drive says that it committed, and nothing shows it
  ///   EBADE       the drive says that another host or its management updated it at the same time
  /// Nothing but a commit changes what the drive runs.
  Outcome run();

 private:
  // The steps, in their order.
  Outcome openAndLock();
  Outcome chooseController();
  Outcome refuseByIdentity();
  void reportUses();
  void reportShortPiece();
  Outcome transfer();
  Outcome commit();

  Outcome openControllers();
  Outcome refuseIfBusy();
  Outcome chooseSlotToWrite();
  Outcome download();
  Outcome sendPiece(std::span<const std::uint8_t> piece, std::size_t offset);
  bool hasForgotten();
  bool startOverAfterOverlap(const Outcome& outcome);
  Outcome waitAfterDownload();
  Outcome waitUntilIdle(std::chrono::milliseconds bound);

  Outcome judge(const Controller::Commit& commit);
  Outcome readBack(bool isLost, FirmwareState& after, Evidence& evidence);
  void reportResult(Evidence evidence, const FirmwareState& after);

  Controller& asked() { return m_controllers[m_asked]; }

  Host& m_host;
  const SupportedDrives& m_supported;
  const std::span<const std::uint8_t> m_image;
  std::deque<Controller> m_controllers;  ///< in the order in which every run locks them
  const std::size_t m_asked;             ///< the controller that the caller named
  Controller* m_controller = nullptr;  ///< the one that answers; set by `chooseController`, used from then on
  FirmwareState m_before;              ///< as last read before the commit; read again after a reset
  std::unique_ptr<ResetWatch> m_watch;  ///< since the download began
  bool m_mayHaveForgotten = false;      ///< the pieces so far, by a reset that nobody tells of
  bool m_hasStartedOver = false;        ///< after an overlap; once
  unsigned int m_slot = 0;              ///< to write: 1 to 7, or 0 for the drive to choose
};

}  // namespace nvme_linux
