#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

#include "Command.h"
#include "TerminalText.h"

namespace {

/// Hidden commands are of no group.
bool isShown(const CLI::App* command) {
  return !command->get_group().empty();
}

/// Describes what is wrong with the command line. Names an unknown subcommand and lists the known ones.
std::string explain(const CLI::App* app, const CLI::Error& error) {
  const std::vector<std::string> unexpected = app->remaining();
  const bool isUnknown =
      app->get_subcommands().empty() && !unexpected.empty() && !unexpected[0].starts_with('-');
  if (!isUnknown) return CLI::FailureMessage::simple(app, error);
  std::string message = '"' + tool::forTerminal(unexpected[0]) + "\" is no subcommand; there are";
  const char* separator = " ";
  for (const CLI::App* command : app->get_subcommands(isShown))
    message += std::exchange(separator, ", ") + command->get_name();
  return message + ".\nRun with --help for more information.\n";
}

int run(int argc, char** argv) {
  CLI::App app("Checks component folders and shows result documents of nvmepcissd.", "nvmepcissd-tool");
  app.set_version_flag("--version", "nvmepcissd-tool " TOOL_VERSION);
  app.require_subcommand(1);
  tool::Action action;
  for (const auto addCommand :
       {tool::addCheckCommand, tool::addInitCommand, tool::addShowCommand, tool::addReportCommand,
        tool::addVerifyCommand, tool::addLogCommand, tool::addMetricsCommand, tool::addDrivesCommand,
        tool::addPlanCommand, tool::addInventoryCommand, tool::addUpdateCommand, tool::addResultCommand,
        tool::addHistoryCommand, tool::addCarryOnCommand, tool::addAwaitComponentCommand})
    addCommand(app, action);

  app.failure_message(explain);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? tool::kClean : tool::kUsage;
  }
  const int status = action();
  std::cout.flush();
  if (std::cout) return status;
  std::cerr << "standard output: cannot be written\n";
  return tool::kFindings;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "nvmepcissd-tool: %s\n", error.what()));
    return tool::kFindings;
  }
}
