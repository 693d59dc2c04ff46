// `plan`: what `update` would do to each drive, as far as it can be told without touching one.

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "Command.h"
#include "CommandLine.h"
#include "DriveJson.h"
#include "FolderInspection.h"
#include "Preparation.h"
#include "RunLock.h"
#include "RunOptions.h"
#include "TerminalText.h"
#include "VerdictText.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

/// For what the component leaves, which nobody needs afterwards.
class TemporaryFolder {
 public:
  TemporaryFolder() : m_path(fs::temp_directory_path() / "nvmepcissd-plan-XXXXXX") {
    std::string name = m_path;
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    m_path = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const fs::path& path() const { return m_path; }

 private:
  fs::path m_path;
};

FolderPlan refused(std::vector<std::string> reasons) {
  return {.plan = {.verdict = refusal(std::move(reasons))}};
}

FolderPlan planBy(const Policy& policy, const PlanOptions& options) {
  const fs::path folder = fs::canonical(options.folder);
  const std::optional<RunLock> lock = RunLock::acquireSoon();
  if (!lock) return refused({"a run goes on on this server"});
  FolderInspection inspection = inspectFolder(folder);
  if (!inspection.errors.empty()) return refused(std::move(inspection.errors));
  const TemporaryFolder scratch;
  const InventoryTaken inventory =
      takeInventory(folder, componentEnvironment(options.keepEnvironment), scratch.path() / "inventory");
  FolderPlan planned =
      planFolder(folder, inventory, policy, earlierFlashes(options.stateFolder().list(), options.run),
                 inspection.obeysList);
  std::vector<std::string>& reasons = planned.plan.verdict.reasons;
  for (const std::string& warning : inspection.warnings) reasons.push_back("warning: " + warning);
  return planned;
}

int runPlan(const PlanOptions& options) {
  const std::optional<Policy> policy = readPolicy(options.policy);
  if (!policy) return kUsage;
  FolderPlan planned;
  try {
    planned = planBy(*policy, options);
  } catch (const std::exception& error) {
    planned = refused({error.what()});
  }
  const Verdict& verdict = planned.plan.verdict;
  if (options.json) {
    std::cout << toJson(verdict, planned.plan.facts);
  } else {
    writeVerdict(std::cout, verdict, standardOutputTerminal());
  }
  return exitStatusOf(verdict.outcome);
}

}  // namespace

void addPlanCommand(CommandLine& line) {
  const auto options = std::make_shared<PlanOptions>();
  const Command command = line.addCommand("plan", "Tell what an update would do to every drive, and why",
                                          [options] { return runPlan(*options); });
  command.footer(
      "Exit status: 0 nothing is refused; 2 usage, or a policy that cannot be read; 4 the run or a drive is\n"
      "refused, or a drive is unhealthy.");
  addPlanOptions(command, *options, "Plan as an update of that name, which knows what it has flashed");
  addEnvironmentOption(command, options->keepEnvironment);
  addRunOptions(command, *options);
}

}  // namespace tool
