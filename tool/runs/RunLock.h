// Keeps runs on one server apart.
//
// Two files in one folder of this machine's /run carry kernel locks, which end with the processes that hold
// them: "run.lock" for whoever carries a run on, "component.lock" for the component itself. A run whose tool
// has died while the component goes on is therefore still seen to be running.

#pragma once

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
  /// Nothing while another process has the lock, or while a component runs. Throws as `lockFolder` does, and
  /// std::system_error.
  static std::optional<RunLock> tryAcquire();

  /// Tries for a second. One look at the lock may meet a command that only looks at it itself.
  static std::optional<RunLock> acquireSoon();

 private:
  explicit RunLock(nvme_linux::FileDescriptor file) : m_file(std::move(file)) {}

  nvme_linux::FileDescriptor m_file;
};

/// True while a process carries on a run, or a component runs.
bool isRunInProgress();

/// True while a component runs that any run started.
bool isComponentRunning();

/// The lock file of the component, opened. The lock that a process takes on it lasts until that process ends,
/// whatever it executes; processes that it starts do not have it.
nvme_linux::FileDescriptor openComponentLock();

/// Takes the lock for this process. False when another one has it. May be called between fork and exec.
bool lockComponent(int file);

}  // namespace tool
