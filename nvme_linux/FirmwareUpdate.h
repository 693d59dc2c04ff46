#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Controller.h"

namespace nvme_linux {

/// The slot that an image goes into: an empty one if there is any, else the next one behind the running one,
/// never a read-only one, and the running one only when no other can be written. 0, for the drive to choose,
/// when the drive does not say which slot runs or how many it has; nothing when no slot can be written.
std::optional<unsigned int> chooseSlot(const Identity& identity, const FirmwareSlots& slots);

/// How many bytes of an image one command takes: what the drive states as its granularity, 4 KiB when it
/// states none, but never more than the drive takes at once.
std::size_t pieceSize(const Identity& identity);

/// One update of one drive.
class FirmwareUpdate {
 public:
  /// `kernel` and `controller` must outlive the object.
  FirmwareUpdate(Host& host, const PciController& controller);

  /// Flashes the file. 0: committed; `status::kResetOwed`: committed, and the drive says that it needs a
  /// reset; any other positive number: the NVMe status with which the drive refused a command; negative:
  /// -errno of what never reached the drive or got no answer, and these:
  ///   -ENODATA, -EINVAL, -EFBIG  the file is empty; no regular file or no multiple of 4 bytes; too long
  ///   -EBUSY                     another run is updating this drive
  ///   -ENODEV                    the controller is not, or no longer, the one that was found
  ///   -EOPNOTSUPP                the drive takes no firmware
  ///   -EALREADY                  the drive went on saying that an update is in progress
  ///   -EROFS                     no slot can be written
  /// Nothing but a commit changes what the drive runs.
  int run(const std::string& payloadPath);

 private:
  int readPayload(const std::string& path);
  int takeDrive();
  int identify();
  int awaitIdle(std::chrono::milliseconds bound);
  int requireIdle();
  int prepareSlot();
  int download();
  int settle();
  int commit();
  void checkOutcome(int committed) noexcept;
  void reportOutcome();

  Host& m_host;
  Controller m_controller;
  std::vector<std::uint8_t> m_payload;
  Identity m_identity;
  FirmwareSlots m_slots;
  unsigned int m_slot = 0;
};

}  // namespace nvme_linux
