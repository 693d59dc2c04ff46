// The subcommands and what they share. Each one lives in a source of its own (check/CheckCommand.cpp).

#pragma once

namespace tool {

class CommandLine;

/// The tool's exit statuses. A command whose answer is a verdict ends with `exitStatusOf` its outcome.
enum ExitStatus {
  kClean = 0,
  kFindings = 1,  ///< also any failure while running: a file that cannot be read or written
  kUsage = 2,
};

/// Each adds one subcommand to the command line.
void addCheckCommand(CommandLine& line);
void addDrivesCommand(CommandLine& line);
void addHistoryCommand(CommandLine& line);
void addInitCommand(CommandLine& line);
void addInventoryCommand(CommandLine& line);
void addLogCommand(CommandLine& line);
void addMetricsCommand(CommandLine& line);
void addPlanCommand(CommandLine& line);
void addReportCommand(CommandLine& line);
void addResultCommand(CommandLine& line);
void addShowCommand(CommandLine& line);
void addUpdateCommand(CommandLine& line);
void addVerifyCommand(CommandLine& line);

/// Hidden: what other commands start in processes of their own.
void addAwaitComponentCommand(CommandLine& line);
void addCarryOnCommand(CommandLine& line);

}  // namespace tool
