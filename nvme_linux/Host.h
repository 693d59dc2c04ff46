// Everything that the library asks of the operating system: drives, files, clock and log. Tests put drives
// and a clock of their own in its place.

#pragma once

#include <linux/nvme_ioctl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Outcome.h"

namespace nvme_linux {

/// One open NVMe controller. Destroying it closes the controller and releases its lock.
class Device {
 public:
  virtual ~Device() = default;

  /// Keeps every other run away from the controller until this object is destroyed. Fails with EBUSY when
  /// another run has the lock, with any other errno when it cannot be locked.
  virtual Outcome lock() = 0;

  /// The number of the device node, as sysfs writes it: "major:minor".
  virtual std::string number() = 0;

  /// Sends an admin command and waits for its end. The data of a command that did not succeed is undefined.
  virtual Completion admin(nvme_passthru_cmd& command) = 0;
};

/// Watches one controller for resets from its construction on.
class ResetWatch {
 public:
  virtual ~ResetWatch() = default;

  /// Once true it stays true. Nothing when the kernel does not tell, or has lost what it had to tell.
  virtual std::optional<bool> wasReset() = 0;
};

/// Keeps signals that end a process from it while it lives, and delivers them when it is destroyed.
class SignalHold {
 public:
  virtual ~SignalHold() = default;
};

class Host {
 public:
  virtual ~Host() = default;

  /// The names in a folder of sysfs (a path below it, as "class/nvme"), in no order. None when it cannot be
  /// read.
  virtual std::vector<std::string> entries(const std::string& folder) = 0;

  /// A sysfs attribute (a path below sysfs) without the line break at its end; nothing when it cannot be
  /// read.
  virtual std::optional<std::string> text(const std::string& path) = 0;

  /// An attribute of an NVMe controller, a path below its folder.
  std::optional<std::string> attribute(const std::string& controller, const std::string& name) {
    return text("class/nvme/" + controller + "/" + name);
  }

  /// The mounts of this process, in the form of /proc/self/mountinfo, and the swap areas, in that of
  /// /proc/swaps. Nothing when they cannot be read.
  virtual std::optional<std::string> mounts() = 0;
  virtual std::optional<std::string> swaps() = 0;

  /// Opens a block device ("nvme0n1p1") for this process alone and closes it again. Fails with EBUSY when
  /// something holds it: a mount of any process, an array, a volume, a pool.
  virtual Outcome tryExclusively(const std::string& blockDevice) = 0;

  /// The CAP register of an NVMe controller. Nothing where the kernel keeps registers to itself, as most
  /// distributions' kernels do.
  virtual std::optional<std::uint64_t> capabilities(const std::string& controller) = 0;

  /// How long the kernel waits for an admin command that names no time-out.
  virtual std::chrono::milliseconds adminTimeout() = 0;

  /// Opens a controller. `device` stays as it was on failure.
  virtual Outcome open(const std::string& controller, std::unique_ptr<Device>& device) = 0;

  virtual std::unique_ptr<ResetWatch> watchResets(const std::string& controller) = 0;

  /// SIGTERM, SIGINT and SIGHUP: a process that ends in the middle of an update leaves a drive with half an
  /// image.
  virtual std::unique_ptr<SignalHold> holdSignals() = 0;

  /// Reads a regular file whole. Fails with EINVAL when it is no regular file, EFBIG when it is longer than
  /// `limit` bytes, EIO when its length changed meanwhile, or any other errno. `content` is undefined then.
  virtual Outcome readFile(const std::string& path, std::size_t limit,
                           std::vector<std::uint8_t>& content) = 0;

  /// Time since some fixed moment.
  virtual std::chrono::milliseconds now() = 0;
  virtual void sleep(std::chrono::milliseconds duration) = 0;

  /// One line for the administrator; `priority` is a level of syslog(3).
  virtual void report(int priority, const std::string& line) = 0;
};

}  // namespace nvme_linux
