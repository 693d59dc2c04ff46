#include "CheckCommand.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "PackageCheck.h"
#include "Terminal.h"
#include "TerminalText.h"

namespace tool {

namespace {

std::string placeOf(const Finding& finding) {
  return forTerminal(finding.file.string()) + (finding.line > 0 ? ":" + std::to_string(finding.line) : "");
}

void printFindings(const Findings& findings, bool colour) {
  for (const Finding& finding : findings) {
    std::cout << (colour ? "\033[1m" : "") << placeOf(finding) << ": " << forTerminal(finding.problem)
              << (colour ? "\033[0m" : "") << "\n    at run time: " << forTerminal(finding.atRunTime)
              << "\n    to fix: " << forTerminal(finding.remedy) << "\n";
  }
  if (findings.empty()) {
    std::cout << "no findings\n";
  } else {
    std::cout << findings.size() << (findings.size() == 1 ? " finding\n" : " findings\n");
  }
}

void printFindingsAsJson(const Findings& findings) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const auto& [file, line, problem, atRunTime, remedy] : findings) {
    list.push_back({{"file", file.string()},
                    {"line", line},
                    {"problem", problem},
                    {"atRunTime", atRunTime},
                    {"remedy", remedy}});
  }
  std::cout << list.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

struct Options {
  std::string folder;
  bool json = false;
};

int check(const Options& options) {
  const Findings findings = checkPackage(options.folder);
  if (options.json) {
    printFindingsAsJson(findings);
  } else {
    printFindings(findings, standardOutputTerminal().colour);
  }
  return findings.empty() ? kClean : kFindings;
}

}  // namespace

void addCheckCommand(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("check", "Report the traps in a component folder");
  command->footer("Exit status: 0 no findings, 1 findings, 2 usage.");
  command->add_option("DIR", options->folder, "Component folder")->required()->check(CLI::ExistingDirectory);
  command->add_flag("--json", options->json, "Write the findings as JSON");
  command->callback([options, &action] { action = [options] { return check(*options); }; });
}

}  // namespace tool
