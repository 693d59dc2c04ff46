#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "Command.h"
#include "DriveFacts.h"
#include "DriveJson.h"
#include "ElfFile.h"
#include "LocatedJson.h"
#include "Plan.h"
#include "PlanInventory.h"
#include "PolicyOptions.h"
#include "TerminalText.h"
#include "VerdictText.h"

namespace tool {

namespace {

struct Options {
  std::string folder;
  PolicyOptions policy;
  bool json = false;
};

void show(const Plan& plan, bool asJson) {
  if (asJson) {
    std::cout << toJson(plan.verdict, plan.facts);
  } else {
    writeVerdict(std::cout, plan.verdict, standardOutputTerminal());
  }
}

int planBy(const Policy& policy, const Options& options) {
  const std::filesystem::path folder = std::filesystem::canonical(options.folder);
  const PlanInventory inventory = inventoryForPlan(folder);
  const DriveList kernel = readDriveFacts(folder);
  Plan plan = planUpdate({.inventory = inventory.records,
                          .kernel = kernel.drives,
                          .policy = policy,
                          .payload = readPayload(folder),
                          .obeysList = readElf(folder / "libnvme.so").origin == "nvme_linux"});
  std::vector<std::string>& reasons = plan.verdict.reasons;
  reasons.insert(reasons.begin(), inventory.problems.begin(), inventory.problems.end());
  show(plan, options.json);
  return plan.verdict.exitStatus;
}

/// Nothing, and a line on standard error, for a policy that cannot be taken.
std::optional<Policy> readPolicy(const PolicyOptions& options) {
  try {
    return policyOf(options);
  } catch (const FileError& error) {
    std::cerr << forTerminal(error.what()) << '\n';
  } catch (const std::system_error& error) {
    std::cerr << forTerminal(options.file) << ": cannot be read: " << error.code().message() << '\n';
  }
  return std::nullopt;
}

int runPlan(const Options& options) {
  const std::optional<Policy> policy = readPolicy(options.policy);
  return policy ? planBy(*policy, options) : kUsage;
}

}  // namespace

void addPlanCommand(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command =
      app.add_subcommand("plan", "Tell what an update would do to every drive, and why");
  command->footer(
      "Exit status: 0 nothing is refused; 2 usage, or a policy that cannot be read; 4 the run or a drive is\n"
      "refused, or a drive is unhealthy.");
  command->add_option("DIR", options->folder, "Component folder")->required()->check(CLI::ExistingDirectory);
  command->add_flag("--json", options->json, "Write JSON");
  addPolicyOptions(*command, options->policy);
  command->callback([options, &action] { action = [options] { return runPlan(*options); }; });
}

}  // namespace tool
