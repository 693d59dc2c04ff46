#pragma once

#include "Host.h"

namespace nvme_linux {

/// The machine itself: controllers from sysfs, commands through the device nodes of the kernel's NVMe driver,
/// lines to the system log.
class LinuxHost : public Host {
 public:
  /// Where the system has its folders; tests have folders of their own.
  struct Roots {
    std::string sysfs = "/sys";
    std::string devices = "/dev";
    std::string processes = "/proc";
  };

  LinuxHost() : LinuxHost(Roots()) {}
  explicit LinuxHost(Roots roots);

  std::vector<std::string> entries(const std::string& folder) override;
  /// At most 4 KiB of it, the longest attribute that there is.
  std::optional<std::string> text(const std::string& path) override;
  /// Both at most 4 MiB: tens of thousands of mounts.
  std::optional<std::string> mounts() override;
  std::optional<std::string> swaps() override;
  Outcome tryExclusively(const std::string& blockDevice) override;
  /// Through the memory of PCI resource 0, which kernels with strict access to it refuse to map.
  std::optional<std::uint64_t> capabilities(const std::string& controller) override;
  /// From the driver's module parameter; one minute, its default, when that cannot be read.
  std::chrono::milliseconds adminTimeout() override;
  Outcome open(const std::string& controller, std::unique_ptr<Device>& device) override;
  /// By the event with which the driver announces a controller that has started.
  std::unique_ptr<ResetWatch> watchResets(const std::string& controller) override;
  std::unique_ptr<SignalHold> holdSignals() override;
  Outcome readFile(const std::string& path, std::size_t limit, std::vector<std::uint8_t>& content) override;
  std::chrono::milliseconds now() override;
  void sleep(std::chrono::milliseconds duration) override;
  /// Facility user, control characters replaced: one report is one line.
  void report(int priority, const std::string& line) override;

 private:
  Roots m_roots;
};

}  // namespace nvme_linux
