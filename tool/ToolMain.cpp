#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <iostream>

#include "CheckCommand.h"
#include "InitCommand.h"
#include "ReportCommand.h"
#include "ShowCommand.h"

namespace {

int run(int argc, char** argv) {
  CLI::App app("Checks component folders and shows result documents of nvmepcissd.", "nvmepcissd-tool");
  app.set_version_flag("--version", "nvmepcissd-tool " TOOL_VERSION);
  app.require_subcommand(1);
  tool::Action action;
  for (const auto addCommand :
       {tool::addCheckCommand, tool::addInitCommand, tool::addShowCommand, tool::addReportCommand})
    addCommand(app, action);

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
