#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "ControllerList.h"
#include "FirmwareSlots.h"
#include "Host.h"
#include "Identity.h"
#include "Outcome.h"

namespace nvme_linux {

/// One controller, and the four admin commands that the library sends: Identify Controller, Get Log Page of
/// the firmware slots, Firmware Image Download and Firmware Commit.
///
/// A refused command is repeated, three times at most, where the status allows that; a firmware command that
/// may be lost is not. Each repeat is a warning in the system log. Outputs of a failed command stay as they
/// were.
class Controller {
 public:
  /// What becomes of a failure in the system log: callers that ask again until something answers stay silent.
  enum class Failures { kReported, kSilent };

  /// `host` and `controller` must outlive the object. Until `open` succeeds nothing else but `report` may be
  /// called.
  Controller(Host& host, const PciController& controller);

  /// A controller that is being reset (EAGAIN) is waited for, 5 s at most, unless the kernel has given it up.
  Outcome open();

  /// Keeps other runs away from this drive until the object is destroyed. EBUSY when another run has it.
  Outcome lock();

  /// To be called under the lock: fails with ENODEV when what was opened is not, or no longer, the drive that
  /// the list of controllers described.
  Outcome confirm();

  /// From here on a firmware command may take as long as the drive needs to activate firmware; never less
  /// than the kernel's own time-out, which stays that of the other commands.
  void allowFirmwareCommands(std::chrono::milliseconds activationTime);

  Outcome identify(Identity& identity, Failures failures = Failures::kReported);
  Outcome readSlots(FirmwareSlots& slots, Failures failures = Failures::kReported);

  /// Hands the drive one piece of the image; its length and `offset` are multiples of 4 bytes. EINVAL, with
  /// which the kernel refuses a piece that is too long, is left to the caller to report.
  Outcome download(std::span<const std::uint8_t> piece, std::size_t offset);

  /// Has the drive check what it was handed, store it in `slot` (0: the drive chooses) and activate it at the
  /// next reset.
  Outcome commit(unsigned int slot);

  /// One line for the administrator, with the drive's address before it.
  void report(int priority, const std::string& text);

 private:
  Outcome send(const char* name, const nvme_passthru_cmd& command);
  Outcome sendOnce(nvme_passthru_cmd command);
  Outcome reported(const char* name, Outcome outcome, Failures failures);
  std::string state();

  Host& m_host;
  const PciController& m_controller;
  std::unique_ptr<Device> m_device;     ///< set by `open`, and from then on
  std::uint32_t m_firmwareTimeout = 0;  ///< in milliseconds; 0: the kernel's own
};

}  // namespace nvme_linux
