// What every subcommand shares. Each one lives in its folder as `add…Command`, which ToolMain.cpp calls.

#pragma once

#include <functional>

namespace CLI {
class App;
}

namespace tool {

/// The tool's exit statuses. A subcommand may add statuses of its own above these.
enum ExitStatus {
  kClean = 0,
  kFindings = 1,  ///< also any failure while running: a file that cannot be read or written
  kUsage = 2,
};

/// What a subcommand does after the command line has been parsed; returns the exit status.
using Action = std::function<int()>;

}  // namespace tool
