// The admin commands that the library sends, by the NVM Express base standard: Identify Controller, the log
// page of the firmware slots, Firmware Image Download and Firmware Commit.

#pragma once

#include <syslog.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "ControllerList.h"
#include "Host.h"

namespace nvme_linux {

/// What Identify Controller says of a drive. Texts are ASCII, padded with blanks, without a NUL.
struct Identity {
  std::array<char, 20> serial{};
  std::array<char, 40> model{};
  std::array<char, 8> revision{};
  bool takesFirmware = false;  ///< knows the two firmware commands
  unsigned int slots = 0;      ///< firmware slots, numbered from 1; up to 7
  bool firstSlotReadOnly = false;
  std::size_t granularity = 0;             ///< of downloads, in bytes; 0: the drive states none
  std::size_t maximumTransfer = 0;         ///< of one command, in bytes; 0: no limit
  std::chrono::milliseconds activation{};  ///< the longest that it takes to activate firmware; 0: not stated
};

/// The log page of the firmware slots.
struct FirmwareSlots {
  using Revision = std::array<char, 8>;

  unsigned int running = 0;  ///< slot of the running firmware; 0: the drive does not say
  unsigned int next = 0;     ///< slot that the next reset activates; 0: none
  bool updateInProgress = false;
  std::array<Revision, 7> revisions{};  ///< of slots 1 to 7; zeros or blanks for an empty slot

  bool isEmpty(unsigned int slot) const;
};

/// One open controller.
///
/// Every command returns 0 when the drive carried it out, the NVMe status (11 bits, positive) when it
/// refused, and -errno when it never reached the drive or got no answer. A refused command is repeated, three
/// times at most, where the status allows that; a firmware command that may be lost is not. Failures are
/// reported. Outputs of a failed command are undefined.
class Controller {
 public:
  /// `kernel` and `controller` must outlive the object. Until `open` succeeds nothing else may be called.
  Controller(Host& host, const PciController& controller);

  /// 0 or -errno. A controller that is being reset (-EAGAIN) is waited for, 5 s at most.
  int open();

  /// Keeps other runs away from this drive until the object goes. 0; -EBUSY when one is at it; other -errno.
  int lock();

  /// To be called under the lock: 0, or -ENODEV when what was opened is not, or no longer, the drive that the
  /// list of controllers described.
  int confirm();

  /// From here on a firmware command may take as long as the drive needs to activate firmware; never less
  /// than the kernel's own time-out, which stays that of the other commands.
  void allowFor(std::chrono::milliseconds activation);

  /// `failure` is the level at which a failure is reported, for callers that ask again.
  int identify(Identity& identity, int failure = LOG_ERR);
  int readSlots(FirmwareSlots& slots, int failure = LOG_ERR);

  /// Hands the drive one piece of the image; its length and `offset` are multiples of 4 bytes. -EINVAL, with
  /// which the kernel refuses a piece that is too long, is left to the caller to report.
  int download(std::span<const std::uint8_t> piece, std::size_t offset);

  /// Has the drive check what it was handed, store it in `slot` (0: the drive chooses) and activate it at the
  /// next reset. `status::kResetOwed`, besides 0, means that it did and that a reset is owed.
  int commit(unsigned int slot);

  /// One line for the administrator, with the drive's address before it.
  void report(int priority, const std::string& text);

 private:
  std::string state();
  int send(const char* what, const nvme_passthru_cmd& command, int failure = LOG_ERR);

  Host& m_host;
  const PciController& m_controller;
  std::unique_ptr<Device> m_device;
  std::uint32_t m_timeout = 0;  ///< of a firmware command, in milliseconds; 0: the kernel's
};

/// A padded text without its padding, unprintable characters replaced.
std::string printable(std::span<const char> field);

}  // namespace nvme_linux
