// Drives that follow a script: each one expects commands in order and compares every field of them. A test
// ends with every script used up.

#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "LinuxHost.h"
#include "TestSupport.h"

namespace nvme_linux {

using Bytes = std::vector<std::uint8_t>;

/// What a scripted drive says in Identify Controller; the defaults are a drive with three writable slots.
struct ScriptedIdentity {
  std::string serial = "SN-0001             ";
  std::string model = "Model A                                 ";
  std::string revision = "OLD_REV ";
  std::uint8_t transferShift = 0;
  std::uint16_t optionalCommands = 0x0004;
  std::uint8_t firmwareUpdates = 3 << 1;
  std::uint16_t activation = 0;
  std::uint8_t granularity = 0;

  Bytes data() const;
};

/// What it says in the log page of the firmware slots; the defaults are one image that runs, in slot 1.
struct SlotLog {
  std::uint8_t activeInfo = 0x01;
  std::vector<std::string> revisions = {"OLD_REV "};

  Bytes data() const;
};

/// The commands that a drive expects, in order, with what it answers. A result is what the ioctl gives back:
/// 0, a status of 15 bits, or -errno.
class DriveScript {
 public:
  DriveScript& opens(int result = 0);
  DriveScript& locks(int result = 0);
  DriveScript& identifies(const ScriptedIdentity& identity = {}, int result = 0);
  DriveScript& readsSlots(const SlotLog& log = {}, int result = 0);
  DriveScript& readsHealth(std::uint8_t criticalWarning, int result = 0);
  DriveScript& downloads(std::size_t offset, const Bytes& piece, int result = 0);
  DriveScript& commits(unsigned int slot, int result = 0);

  // What goes with the step before.
  DriveScript& saying(std::uint32_t dword0);                ///< in dword 0 of its completion
  DriveScript& taking(std::chrono::milliseconds duration);  ///< until it answers
  DriveScript& andIsReset();                                ///< right after it; the kernel tells

  /// Something that happens to the system while the drive is being locked.
  void whenLocked(std::function<void()> event) { m_whenLocked = std::move(event); }

  /// The time-out that every download and commit from here on must name; other commands name none.
  DriveScript& within(std::chrono::milliseconds timeout);

 private:
  friend class ScriptedDevice;
  friend class ScriptedHost;

  struct Step {
    std::string name;
    nvme_passthru_cmd command{};  ///< without the data's address
    Bytes sent;                   ///< what must be at that address
    Bytes answer;                 ///< what to write there
    int result = 0;
    std::uint32_t dword0 = 0xFFFFFFFC;  ///< bits that mean nothing are set
    std::chrono::milliseconds duration{0};
    bool isResetAfterwards = false;
  };

  DriveScript& add(Step step);

  class ScriptedHost* m_host = nullptr;
  int m_resets = 0;
  std::string m_number = "240:0";  ///< of the device node
  std::chrono::milliseconds m_timeout{0};
  std::deque<Step> m_steps;
  std::function<void()> m_whenLocked;
};

/// A kernel with scripted drives, on a sysfs tree of the test's own. Its clock moves only when it is slept
/// on.
class ScriptedHost : public LinuxHost {
 public:
  ScriptedHost();
  ~ScriptedHost() override;

  DriveScript& drive(const std::string& controller);

  /// Adds a controller to the sysfs tree.
  void addController(const std::string& name, const std::string& address,
                     std::string_view ids = "144d:a801:1028:1fd9", const std::string& transport = "pcie");
  void writeAttribute(const std::string& controller, const std::string& name, const std::string& text);
  void removeAttribute(const std::string& controller, const std::string& name);
  void setAdminTimeout(const std::string& text);

  /// The CAP register of a controller.
  void setCapabilities(const std::string& controller, std::uint64_t capabilities);

  /// A file below the folder that has "sys", "dev" and "proc" in it.
  void writeSystemFile(const std::string& path, const std::string& text);

  /// Opening the block device exclusively fails with this errno.
  void hold(const std::string& blockDevice, int error) { m_exclusive[blockDevice] = error; }

  /// A file with these bytes; its path.
  std::string payload(const Bytes& bytes);

  /// From here on the kernel does not tell of resets.
  void concealResets() { m_tellsResets = false; }

  /// From here on there is no memory for a report.
  void forgetReports() { m_hasMemory = false; }

  std::chrono::milliseconds slept() const { return m_now; }
  const std::vector<std::string>& reports() const { return m_reports; }

  Outcome open(const std::string& controller, std::unique_ptr<Device>& device) override;
  std::unique_ptr<ResetWatch> watchResets(const std::string& controller) override;
  std::unique_ptr<SignalHold> holdSignals() override;
  Outcome tryExclusively(const std::string& blockDevice) override;
  std::chrono::milliseconds now() override { return m_now; }
  void sleep(std::chrono::milliseconds duration) override { m_now += duration; }
  void report(int priority, const std::string& line) override;

 private:
  friend class ScriptedDevice;

  explicit ScriptedHost(std::unique_ptr<ScratchFolder> folder);

  std::unique_ptr<ScratchFolder> m_folder;
  std::map<std::string, DriveScript> m_scripts;
  std::map<std::string, int> m_exclusive;
  std::chrono::milliseconds m_now{0};
  std::vector<std::string> m_reports;
  bool m_hasMemory = true;
  bool m_tellsResets = true;
  int m_signalHolds = 0;
};

/// Bytes that differ from their neighbours and from one page to the next.
Bytes image(std::size_t size);
Bytes part(const Bytes& bytes, std::size_t offset, std::size_t size);

}  // namespace nvme_linux
