#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>

#include "ControllerList.h"
#include "FirmwareSlots.h"
#include "Health.h"
#include "Host.h"
#include "Identity.h"
#include "Outcome.h"

namespace nvme_linux {

/// One controller, and the admin commands that the library sends: Identify Controller, Get Log Page of the
/// firmware slots and of SMART, Firmware Image Download and Firmware Commit.
///
/// A refused command is repeated, three times at most, where the status allows that; a firmware command that
/// may be lost is not. Where every repeat is refused, too, the first refusal is returned. Failures and
/// repeats go to the system log. Outputs of a failed command stay as they were.
class Controller {
 public:
  enum class Wait { kNo, kUntilReset };

  /// While this lives nothing goes to the system log: for callers that ask until something answers, and for
  /// those that only look.
  class Silence {
   public:
    explicit Silence(Controller& controller)
        : m_controller(controller), m_before(std::exchange(controller.m_isSilent, true)) {}
    ~Silence() { m_controller.m_isSilent = m_before; }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

   private:
    Controller& m_controller;
    bool m_before;
  };

  /// `host` must outlive the object. `controller` is what callers remember of the controller. Until `open`
  /// succeeds only `report` and `open` may be called.
  Controller(Host& host, PciController controller);

  const PciController& remembered() const { return m_remembered; }

  /// EAGAIN while the controller is being reset; `kUntilReset` waits for that, unless the kernel has given
  /// the controller up. Fails with ENODEV, and leaves the controller closed, when what was opened is not the
  /// one that is remembered: see `confirm`.
  Outcome open(Wait wait = Wait::kUntilReset);
  /// Waits until the controller answers a command, `resetBound` at most. False when it does not, or the
  /// kernel has given it up.
  bool waitUntilAnswers();

  bool isOpen() const { return m_device != nullptr; }

  /// Fails with ENODEV unless the node that was opened is the one that sysfs has for the controller's name,
  /// and sysfs describes it as remembered: the kernel gives the name of a drive that was pulled to the next
  /// one. A controller of which sysfs has no device number fails, too.
  Outcome confirm();

  /// Keeps other runs away from this controller until the object is destroyed. EBUSY when another run has it.
  Outcome lock();

  /// How long a reset of this controller may take: CAP.TO, or the longest that CAP.TO can state where it
  /// cannot be read.
  std::chrono::milliseconds resetBound();

  /// From here on a firmware command may take as long as the drive needs to activate firmware, and a commit
  /// at least five minutes: activation time does not bound storing. Neither has less than the kernel's own
  /// time-out, which stays that of the other commands.
  void allowFirmwareCommands(std::chrono::milliseconds activationTime);

  Outcome identify(Identity& identity);
  Outcome readSlots(FirmwareSlots& slots);
  Outcome readHealth(Health& health);

  /// Hands the drive one piece of the image; its length and `offset` are multiples of 4 bytes. EINVAL, with
  /// which the kernel refuses a piece that is too long, is left to the caller to report.
  Outcome download(std::span<const std::uint8_t> piece, std::size_t offset);

  struct Commit {
    Outcome outcome;
    /// Multiple Update Detected: commands of another update, through another controller or the management
    /// endpoint, came between those of this one. Meaningful only where the drive detects overlaps.
    bool isOverlapped;
  };

  /// Has the drive check what it was handed, store it in `slot` (0: the drive chooses) and activate it at the
  /// next reset. ETIMEDOUT when no answer came in time.
  Commit commit(unsigned int slot);

  /// One line for the administrator, with the drive's address before it.
  void report(int priority, const std::string& text);

 private:
  struct Answer {
    Outcome outcome;
    std::uint32_t dword0;
  };

  Answer send(const char* name, const nvme_passthru_cmd& command);
  Answer sendOnce(nvme_passthru_cmd command);
  Outcome readLogPage(const char* name, std::uint32_t page, std::span<std::uint8_t> data);
  Outcome reported(const char* name, Outcome outcome);
  std::string state();

  Host& m_host;
  const PciController m_remembered;
  bool m_isSilent = false;
  std::unique_ptr<Device> m_device;               ///< set from a successful `open` on
  std::chrono::milliseconds m_downloadTimeout{};  ///< 0: the kernel's own
  std::chrono::milliseconds m_commitTimeout{};    ///< likewise
};

}  // namespace nvme_linux
