// What the commands about runs have in common on the command line.

#pragma once

#include <string>

#include "PolicyOptions.h"
#include "Progress.h"
#include "StateFolder.h"

namespace tool {

class Command;

struct RunOptions {
  std::string state;  ///< empty: the usual place
  bool json = false;

  StateFolder stateFolder() const {
    return StateFolder(state.empty() ? StateFolder::usualPlace() : std::filesystem::path(state));
  }
};

/// What a plan and an update are asked for.
struct PlanOptions : RunOptions {
  std::string folder;
  PolicyOptions policy{};
  std::string run;  ///< empty: none was named
  bool keepEnvironment = false;
};

/// Adds --state. `state` must outlive the parsing.
void addStateOption(const Command& command, std::string& state);

/// Adds --state and --json. `options` must outlive the parsing.
void addRunOptions(const Command& command, RunOptions& options);

/// Adds the component folder, the policy and --run. `options` must outlive the parsing.
void addPlanOptions(const Command& command, PlanOptions& options, const std::string& helpOfRun);

/// Adds --keep-environment. `keep` must outlive the parsing.
void addEnvironmentOption(const Command& command, bool& keep);

/// A complaint for an option: an empty text when `name` can name a run.
std::string complaintAboutRun(const std::string& name);

/// Writes the answer of a command to standard output, and returns its exit status.
int answer(const RunAnswer& result, const RunOptions& options);

}  // namespace tool
