// Runs the component so that nothing that happens to the tool or to its terminal reaches it.

#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tool {

using Environment = std::map<std::string, std::string>;

/// What the component gets: a search path, plain messages, and the settings of the simulator's stand-ins,
/// which nothing else reads. The caller's LD_LIBRARY_PATH only on request, since it decides what code runs.
Environment componentEnvironment(bool keepsLibraryPath);

struct ComponentCall {
  std::filesystem::path executable;     ///< absolute
  std::filesystem::path workingFolder;  ///< absolute
  std::vector<std::string> arguments;
  std::filesystem::path output;  ///< takes standard output and standard error; replaced
  Environment environment;
};

/// How a process ends that could not become the component; the dynamic loader ends it so, too, and says why.
inline constexpr int kComponentNotStarted = 127;

/// A component that was started, as a child of this process. Destroying the object leaves the component
/// alone.
class ComponentProcess {
 public:
  /// Starts the component in a session of its own, with /dev/null as standard input, the umask 022, no other
  /// open file, and deaf to hang-up, interrupt, quit and termination, unless it handles them itself. From
  /// before it runs its first instruction until it has ended it has the lock that `isComponentRunning` looks
  /// at. If this process dies before this returns, the component does not start.
  ///
  /// With `blocksShutdown`, logind keeps the machine from shutting down and sleeping meanwhile, where there
  /// is logind. Throws std::system_error: EBUSY when another component runs.
  static ComponentProcess start(const ComponentCall& call, bool blocksShutdown);

  /// Waits for the end. The exit status, or 128 and the number of the signal that ended it; nothing when it
  /// runs on after that time.
  std::optional<int> wait(std::chrono::milliseconds atMost) const;

 private:
  explicit ComponentProcess(pid_t process) : m_process(process) {}

  pid_t m_process;
};

}  // namespace tool
