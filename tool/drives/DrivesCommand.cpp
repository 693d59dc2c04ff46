#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "DriveFacts.h"
#include "DriveJson.h"
#include "DriveText.h"

namespace tool {

namespace {

struct Options {
  std::string folder;
  bool json = false;
};

int showDrives(const Options& options) {
  const DriveList list = readDriveFacts(options.folder);
  const Verdict verdict = describe(list, geteuid() == 0);
  if (options.json) {
    std::vector<const DriveFacts*> facts;
    for (const DriveFacts& drive : list.drives) facts.push_back(&drive);
    std::cout << toJson(verdict, facts);
  } else {
    writeDrives(std::cout, list, verdict);
  }
  return verdict.exitStatus;
}

}  // namespace

void addDrivesCommand(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("drives", "Show every NVMe PCIe drive that the kernel knows");
  command->footer("Exit status: 0 whatever the drives are like; 2 usage.");
  command->add_option("DIR", options->folder, "Component folder whose package is to name the drives")
      ->check(CLI::ExistingDirectory);
  command->add_flag("--json", options->json, "Write JSON");
  command->callback([options, &action] { action = [options] { return showDrives(*options); }; });
}

}  // namespace tool
