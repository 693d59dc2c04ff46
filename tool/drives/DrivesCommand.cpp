#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "CommandLine.h"
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
  return exitStatusOf(verdict.outcome);
}

}  // namespace

void addDrivesCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const Command command = line.addCommand("drives", "Show every NVMe PCIe drive that the kernel knows",
                                          [options] { return showDrives(*options); });
  command.footer("Exit status: 0 whatever the drives are like; 2 usage.");
  command.addOption("DIR", options->folder, "Component folder whose package is to name the drives")
      .existingFolder();
  command.addFlag("--json", options->json, "Write JSON");
}

}  // namespace tool
