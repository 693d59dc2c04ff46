// Keeps runs on one server apart.
//
// Three files in one folder of this machine's /run carry kernel locks, which end with the processes that hold
// them: "run.lock" for whoever carries a run on, "component.lock" for the component itself, and "next.lock"
// for the process that a run is handed over to. A run whose tool has died while the component goes on is
// therefore still seen to be running, and nobody else gets in between while a run passes from one process to
// the next.

#pragma once

#include <chrono>
#include <filesystem>
#include <optional>

#include "FileDescriptor.h"

namespace tool {

/// The folder, made if missing: /run/nvmepcissd for root, else the user's own run-time folder. Throws
/// std::system_error when it cannot be made, and std::runtime_error when it belongs to somebody else.
std::filesystem::path lockFolder();

/// The right to carry on a run, held until the object goes.
class RunLock {
 public:
  /// Nothing while another process has the lock or is to have it next, or while a component runs. Throws as
  /// `lockFolder` does, and std::system_error.
  static std::optional<RunLock> tryAcquire();

  /// For the process that a run is handed over to: from now on only it can get the lock, once the process
  /// that has it lets go. Nothing after `atMost`.
  static std::optional<RunLock> takeOver(std::chrono::seconds atMost);

  /// Tries for a fifth of a second. One look at the lock may meet a command that only looks at it itself.
  static std::optional<RunLock> acquireSoon();

 private:
  explicit RunLock(nvme_linux::FileDescriptor file) : m_file(std::move(file)) {}

  nvme_linux::FileDescriptor m_file;
};

/// For the process that hands a run over: waits until the other one is in `RunLock::takeOver`, and the lock
/// may go. False when it is not there after `atMost`.
bool isHeirThere(std::chrono::seconds atMost);

/// True while a process carries on a run or is about to, or a component runs.
bool isRunInProgress();

/// True while a component runs that any run started.
bool isComponentRunning();

/// The lock file of the component, opened. The lock that a process takes on it lasts until that process ends,
/// whatever it executes; processes that it starts do not have it.
nvme_linux::FileDescriptor openComponentLock();

/// Takes the lock for this process. False when another one has it. May be called between fork and exec.
bool lockComponent(int file);

}  // namespace tool
