#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "CommandLine.h"
#include "FindingText.h"
#include "PackageCheck.h"
#include "Selection.h"
#include "TerminalText.h"

namespace tool {

namespace {

struct Options {
  std::string folder;
  std::vector<std::string> ignored;
  int lowest = static_cast<int>(Severity::kNote);
  bool json = false;
};

/// A complaint for an option: an empty text when `id` is one.
std::string complaintAbout(const std::string& id) {
  return indexOfKind(id) == kKinds.size() ? "there are no findings with the id \"" + id + "\"" : "";
}

int check(const Options& options) {
  const Selection selection{{options.ignored.begin(), options.ignored.end()},
                            static_cast<Severity>(options.lowest)};
  const Findings findings = select(checkPackage(options.folder), options.folder, selection);
  if (options.json) {
    writeFindingsAsJson(std::cout, findings);
  } else {
    writeFindings(std::cout, findings, standardOutputTerminal().colour);
  }
  return findings.empty() ? kClean : kFindings;
}

}  // namespace

void addCheckCommand(CommandLine& line) {
  const std::map<std::string, int> severities{{"error", static_cast<int>(Severity::kError)},
                                              {"warning", static_cast<int>(Severity::kWarning)},
                                              {"note", static_cast<int>(Severity::kNote)}};
  const auto options = std::make_shared<Options>();
  const Command command = line.addCommand("check", "Report the traps in a component folder",
                                          [options] { return check(*options); });
  command.footer("Exit status: 0 no finding is shown, 1 findings are shown, 2 usage.");
  command.addOption("DIR", options->folder, "Component folder").required().existingFolder();
  command.addFlag("--json", options->json, "Write the findings as JSON");
  command.addOption("--ignore", options->ignored, "Leave out findings with this id; may be repeated")
      .typeName("ID")
      .oneValueEach()
      .check(complaintAbout);
  command.addOption("--severity", options->lowest, "Leave out what is below: error, warning or note")
      .typeName("LEVEL")
      .oneOf(severities);
}

}  // namespace tool
