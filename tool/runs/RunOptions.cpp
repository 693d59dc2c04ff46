#include "RunOptions.h"

#include <iostream>
#include <nlohmann/json.hpp>

#include "CommandLine.h"
#include "TerminalText.h"
#include "VerdictText.h"

namespace tool {

void addStateOption(const Command& command, std::string& state) {
  command.addOption("--state", state, "Keep runs in this folder").typeName("DIR");
}

void addRunOptions(const Command& command, RunOptions& options) {
  addStateOption(command, options.state);
  command.addFlag("--json", options.json, "Write JSON");
}

void addPlanOptions(const Command& command, PlanOptions& options, const std::string& helpOfRun) {
  command.addOption("DIR", options.folder, "Component folder").required().existingFolder();
  addPolicyOptions(command, options.policy);
  command.addOption("--run", options.run, helpOfRun).typeName("NAME").check(complaintAboutRun);
}

void addEnvironmentOption(const Command& command, bool& keep) {
  command.addFlag("--keep-environment", keep, "Let the component have LD_LIBRARY_PATH");
}

std::string complaintAboutRun(const std::string& name) {
  return StateFolder::isName(name)
             ? ""
             : "a run's name has 1 to 64 letters, digits, \"-\", \"_\" and \".\", and begins with a "
               "letter or a digit";
}

int answer(const RunAnswer& result, const RunOptions& options) {
  const auto& [verdict, progress] = result;
  if (options.json) {
    auto object = nlohmann::ordered_json::parse(toJson(verdict));
    if (progress)
      object["progress"] = {{"drive", progress->drive}, {"of", progress->of}, {"seconds", progress->seconds}};
    std::cout << object.dump(2) << '\n';
    return exitStatusOf(verdict.outcome);
  }
  writeVerdict(std::cout, verdict, standardOutputTerminal());
  if (progress) std::cout << textOf(*progress) << ".\n";
  if (verdict.run)
    std::cout << "Run " << forTerminal(*verdict.run) << ": " << nameOf(verdict.outcome) << ".\n";
  return exitStatusOf(verdict.outcome);
}

}  // namespace tool
