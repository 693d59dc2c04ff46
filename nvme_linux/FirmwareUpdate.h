#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Controller.h"
#include "FirmwareSlots.h"
#include "Identity.h"

namespace nvme_linux {

/// How many bytes of an image one command takes: what the drive states as its granularity, 4 KiB when it
/// states none, but never more than the drive takes at once.
std::size_t pieceSize(const Identity& identity);

/// One update of one drive.
class FirmwareUpdate {
 public:
  /// `host` and `controller` must outlive the object.
  FirmwareUpdate(Host& host, const PciController& controller);

  /// Flashes the file; called once. Success: committed, with a reset owed when the drive says so. A refusal
  /// is the status with which the drive refused a command. A failure is the errno of a command that never
  /// reached the drive or got no answer, or one of these:
  ///   ENODATA, EINVAL, EFBIG  the file is empty; no regular file or no multiple of 4 bytes; too long
  ///   EBUSY                   another run is updating this drive
  ///   ENODEV                  the controller is not, or no longer, the one that was found
  ///   EOPNOTSUPP              the drive takes no firmware
  ///   EALREADY                the drive still reports an update in progress
  ///   EROFS                   no slot can be written
  /// Nothing but a commit changes what the drive runs.
  Outcome run(const std::string& payloadPath);

 private:
  // The steps, in their order.
  Outcome readPayload(const std::string& path);
  Outcome openAndLock();
  Outcome identify();
  Outcome refuseIfBusy();
  Outcome chooseSlotToWrite();
  Outcome download();
  Outcome waitAfterDownload();
  void reportCommitted(const Outcome& committed) noexcept;

  Outcome waitUntilIdle(std::chrono::milliseconds bound);
  Outcome readBack(FirmwareSlots& slots, Identity& identity);
  void reportResultingSlots();

  Host& m_host;
  Controller m_controller;
  std::vector<std::uint8_t> m_payload;  ///< the image; complete from `readPayload` on
  Identity m_identity;                  ///< under the lock, before the download
  FirmwareSlots m_slots;                ///< as last read before the commit
  unsigned int m_slot = 0;              ///< to write: 1 to 7, or 0 for the drive to choose
};

}  // namespace nvme_linux
