#include <iostream>
#include <memory>
#include <string>

#include "Command.h"
#include "CommandLine.h"
#include "ComponentLayout.h"
#include "FindingText.h"
#include "PackageCheck.h"
#include "TerminalText.h"

namespace tool {

namespace {

/// What is left to do is what the check finds.
int init(const std::string& folder) {
  layOutComponent(folder, installedExecutable());
  std::cout << "Laid out. What is left to be filled in:\n\n";
  writeFindings(std::cout, checkPackage(folder), standardOutputTerminal().colour);
  return kClean;
}

}  // namespace

void addInitCommand(CommandLine& line) {
  const auto folder = std::make_shared<std::string>();
  const Command command = line.addCommand("init", "Lay out a component folder to be filled in",
                                          [folder] { return init(*folder); });
  command.footer("Exit status: 0 the folder is laid out, 1 it could not be, 2 usage.");
  command.addOption("DIR", *folder, "Folder to make; it may exist if it is empty").required();
}

}  // namespace tool
