#pragma once

#include "Host.h"

namespace nvme_linux {

/// The machine itself: controllers from sysfs, commands through the device nodes of the kernel's NVMe driver,
/// lines to the system log.
class LinuxHost : public Host {
 public:
  /// Tests have folders of their own in place of the system's.
  explicit LinuxHost(std::string sysfs = "/sys", std::string deviceFolder = "/dev");

  std::vector<std::string> controllers() override;
  std::optional<std::string> attribute(const std::string& controller, const std::string& name) override;
  /// From the driver's module parameter; one minute, its default, when that cannot be read.
  std::chrono::milliseconds adminTimeout() override;
  Outcome open(const std::string& controller, std::unique_ptr<Device>& device) override;
  Outcome readFile(const std::string& path, std::size_t limit, std::vector<std::uint8_t>& content) override;
  std::chrono::milliseconds now() override;
  void sleep(std::chrono::milliseconds duration) override;
  void report(int priority, const std::string& line) override;

 private:
  std::string m_sysfs;
  std::string m_deviceFolder;
};

}  // namespace nvme_linux
