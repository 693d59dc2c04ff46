// A drive that keeps to the standard and forgives nothing, with any number of controllers: pieces in order
// and without overlap, by one controller at a time, of its granularity and within its transfer limit; a
// commit takes only a whole image. Faults happen when a test says so.

#pragma once

#include <linux/nvme_ioctl.h>

#include <chrono>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "ControllerList.h"
#include "LinuxHost.h"
#include "TestSupport.h"

namespace nvme_linux {

using Bytes = std::vector<std::uint8_t>;

/// An image that StrictDrive takes: it has its own length and a check sum in front, and a revision.
Bytes strictImage(std::size_t size, char revision);

class StrictDrive {
 public:
  /// What goes wrong with a firmware command.
  enum class Fault {
    kNone,
    kRefused,           ///< 0x021, which may be repeated
    kRefusedForGood,    ///< 0x4006
    kLostBefore,        ///< no answer, and it had no effect
    kLostAfter,         ///< no answer, and it had its effect
    kLostInReset,       ///< the controller was reset before the command had an effect
    kResetAfterwards,   ///< the controller is reset right after it answered
    kEverythingIsSlow,  ///< it takes minutes
  };

  struct Options {
    unsigned int slots = 3;
    bool isFirstSlotReadOnly = false;
    unsigned int running = 1;
    unsigned int next = 0;
    std::size_t granularity = 4096;
    unsigned int transferShift = 5;
    bool isLive = false;  ///< runs new firmware at once
    bool detectsOverlaps = true;
  };

  explicit StrictDrive(Options options);

  /// The faults of the firmware commands to come, in order; none after the last one.
  std::deque<Fault> faults;

  /// Called before each firmware command.
  std::function<void()> beforeFirmwareCommand;

  Completion carryOut(const std::string& controller, const nvme_passthru_cmd& command);

  /// As a controller reset does: what was downloaded is forgotten, what is staged runs.
  void reset();

  const Options& options() const { return m_options; }
  unsigned int running() const { return m_running; }
  unsigned int next() const { return m_next; }
  const Bytes& imageIn(unsigned int slot) const { return m_slots.at(slot); }
  int commits() const { return m_commits; }
  int resets() const { return m_resets; }
  std::chrono::milliseconds clock{};

 private:
  std::uint16_t download(const std::string& controller, const nvme_passthru_cmd& command);
  std::uint16_t commit(const nvme_passthru_cmd& command);
  Bytes identity() const;
  Bytes slotLog() const;
  char revisionIn(unsigned int slot) const;

  Options m_options;
  std::map<unsigned int, Bytes> m_slots;
  unsigned int m_running;
  char m_runningRevision;
  unsigned int m_next;
  Bytes m_downloaded;
  std::string m_downloader;  ///< the controller of the pieces so far
  bool m_wasOverlapped = false;
  int m_commits = 0;  ///< that had an effect
  int m_resets = 0;
};

/// A process on a machine with one StrictDrive. Several of them exclude each other by its locks.
class StrictHost : public LinuxHost {
 public:
  /// `drive` must outlive the object. Controllers are nvme0, nvme1 and so on, at bus 1, 2 and so on.
  StrictHost(StrictDrive& drive, std::map<std::string, int>& locks, unsigned int controllers);

  std::vector<PciController> controllers();

  Outcome open(const std::string& controller, std::unique_ptr<Device>& device) override;
  std::unique_ptr<ResetWatch> watchResets(const std::string& controller) override;
  std::chrono::milliseconds now() override { return m_drive.clock; }
  void sleep(std::chrono::milliseconds duration) override { m_drive.clock += duration; }
  void report(int priority, const std::string& line) override;

  const std::string& log() const { return m_log; }

 private:
  StrictHost(StrictDrive& drive, std::map<std::string, int>& locks, const ScratchFolder& folder);

  StrictDrive& m_drive;
  std::map<std::string, int>& m_locks;  ///< of all processes
  std::string m_log;
};

}  // namespace nvme_linux
