#include <cstdio>
#include <exception>
#include <iostream>

#include "Command.h"
#include "CommandLine.h"

namespace {

int run(int argc, char** argv) {
  tool::CommandLine line("nvmepcissd-tool",
                         "Checks component folders and shows result documents of nvmepcissd.",
                         "nvmepcissd-tool " TOOL_VERSION);
  for (const auto addCommand :
       {tool::addCheckCommand, tool::addInitCommand, tool::addShowCommand, tool::addReportCommand,
        tool::addVerifyCommand, tool::addLogCommand, tool::addMetricsCommand, tool::addDrivesCommand,
        tool::addPlanCommand, tool::addInventoryCommand, tool::addUpdateCommand, tool::addResultCommand,
        tool::addHistoryCommand, tool::addCarryOnCommand, tool::addAwaitComponentCommand})
    addCommand(line);

  const int status = line.run(argc, argv);
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
