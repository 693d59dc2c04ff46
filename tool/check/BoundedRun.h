// Programs of the system that the check asks: the dynamic loader and shells. None of them may hang the check.

#pragma once

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// What became of a program that ran under a time limit.
struct BoundedRun {
  enum class End {
    kExited,      ///< `status` is its exit status
    kSignalled,   ///< `status` is the signal
    kTimedOut,    ///< it was killed
    kNotStarted,  ///< `status` is the errno
  };
  End end = End::kNotStarted;
  int status{};
  std::string output{};  ///< standard output and standard error as they came, the first MiB
};

/// Runs `arguments[0]`, a path, in `folder` with exactly `environment` ("NAME=value") and without input. A
/// program that still runs after `limit` is killed with all processes of its group. It leaves no core file.
BoundedRun runBounded(std::vector<std::string> arguments, std::vector<std::string> environment,
                      const std::filesystem::path& folder, std::chrono::milliseconds limit);

}  // namespace tool
