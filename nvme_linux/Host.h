// Everything that the library asks of the operating system. Tests put drives of their own behind it.

#pragma once

#include <linux/nvme_ioctl.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace nvme_linux {

/// One open NVMe controller. Its end closes it and gives its lock back.
class Device {
 public:
  virtual ~Device() = default;

  /// Keeps every other run away from the controller until this object goes. 0; -EBUSY when another run has
  /// the lock; any other -errno.
  virtual int lock() = 0;

  /// The device number, as sysfs writes it: "major:minor".
  virtual std::string number() = 0;

  /// Sends an admin command and waits for its end. 0 when the controller carried it out; the NVMe status as
  /// the kernel gives it (15 bits, positive) when it did not; -errno when the command never reached the
  /// controller or got no answer. The data of a command that did not return 0 is undefined.
  virtual int admin(nvme_passthru_cmd& command) = 0;
};

class Host {
 public:
  virtual ~Host() = default;

  /// The names of all NVMe controllers ("nvme0"), in no order.
  virtual std::vector<std::string> controllers() = 0;

  /// A controller's sysfs attribute (a path below its folder) without the line break at its end; nothing when
  /// it cannot be read.
  virtual std::optional<std::string> attribute(const std::string& controller, const std::string& name) = 0;

  /// How long the kernel waits for an admin command that names no time-out.
  virtual std::chrono::milliseconds adminTimeout() = 0;

  /// Opens a controller. 0, or -errno with `device` as it was.
  virtual int open(const std::string& controller, std::unique_ptr<Device>& device) = 0;

  /// Reads a regular file whole. 0; -EINVAL when it is no regular file; -EFBIG when it is longer than `limit`
  /// bytes; -EIO when it changed its length meanwhile; any other -errno. `content` is undefined on failure.
  virtual int readFile(const std::string& path, std::size_t limit, std::vector<std::uint8_t>& content) = 0;

  /// Time since some fixed moment.
  virtual std::chrono::milliseconds now() = 0;
  virtual void sleep(std::chrono::milliseconds duration) = 0;

  /// One line for the administrator; `priority` is a level of syslog(3).
  virtual void report(int priority, const std::string& line) = 0;
};

}  // namespace nvme_linux
