#include <CLI/CLI.hpp>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "FindingText.h"
#include "PackageCheck.h"
#include "Selection.h"
#include "TerminalText.h"

namespace tool {

namespace {

struct Options {
  std::string folder;
  std::vector<std::string> ignored;
  Severity lowest = Severity::kNote;
  bool json = false;
};

/// For CLI11: an empty text when `id` is one.
std::string complaintAbout(const std::string& id) {
  return indexOfKind(id) == kKinds.size() ? "there are no findings with the id \"" + id + "\"" : "";
}

int check(const Options& options) {
  const Selection selection{{options.ignored.begin(), options.ignored.end()}, options.lowest};
  const Findings findings = select(checkPackage(options.folder), options.folder, selection);
  if (options.json) {
    writeFindingsAsJson(std::cout, findings);
  } else {
    writeFindings(std::cout, findings, standardOutputTerminal().colour);
  }
  return findings.empty() ? kClean : kFindings;
}

}  // namespace

void addCheckCommand(CLI::App& app, Action& action) {
  const std::map<std::string, Severity> severities{
      {"error", Severity::kError}, {"warning", Severity::kWarning}, {"note", Severity::kNote}};
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("check", "Report the traps in a component folder");
  command->footer("Exit status: 0 no finding is shown, 1 findings are shown, 2 usage.");
  command->add_option("DIR", options->folder, "Component folder")->required()->check(CLI::ExistingDirectory);
  command->add_flag("--json", options->json, "Write the findings as JSON");
  command->add_option("--ignore", options->ignored, "Leave out findings with this id; may be repeated")
      ->type_name("ID")
      ->allow_extra_args(false)
      ->check(complaintAbout);
  command->add_option("--severity", options->lowest, "Leave out what is below: error, warning or note")
      ->type_name("LEVEL")
      ->transform(CLI::CheckedTransformer(severities));
  command->callback([options, &action] { action = [options] { return check(*options); }; });
}

}  // namespace tool
