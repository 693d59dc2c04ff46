// The subcommands and what they share. Each one lives in a source of its own (check/CheckCommand.cpp).

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

/// Each adds one subcommand to the command line of `app`. When the user chooses it, parsing sets `action` to
/// what it does. Both must outlive the parsing.
void addCheckCommand(CLI::App& app, Action& action);
void addDrivesCommand(CLI::App& app, Action& action);
void addHistoryCommand(CLI::App& app, Action& action);
void addInitCommand(CLI::App& app, Action& action);
void addInventoryCommand(CLI::App& app, Action& action);
void addLogCommand(CLI::App& app, Action& action);
void addMetricsCommand(CLI::App& app, Action& action);
void addPlanCommand(CLI::App& app, Action& action);
void addReportCommand(CLI::App& app, Action& action);
void addResultCommand(CLI::App& app, Action& action);
void addShowCommand(CLI::App& app, Action& action);
void addUpdateCommand(CLI::App& app, Action& action);
void addVerifyCommand(CLI::App& app, Action& action);

/// Hidden: what other commands start in processes of their own.
void addAwaitComponentCommand(CLI::App& app, Action& action);
void addCarryOnCommand(CLI::App& app, Action& action);

}  // namespace tool
