// `result`: joins the last run, or the one of that name, and tells how it ended.

#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "Command.h"
#include "CommandLine.h"
#include "Flash.h"
#include "Follow.h"
#include "RunOptions.h"
#include "RunOverview.h"
#include "TerminalText.h"

namespace tool {

namespace {

struct Options : RunOptions {
  std::string run;
  long wait = 0;
};

Verdict undecided(std::vector<std::string> reasons) {
  return {.outcome = RunOutcome::kUndecided, .reasons = std::move(reasons)};
}

RunAnswer tell(const Options& options) {
  const StateFolder state = options.stateFolder();
  RunList list = state.list();
  std::optional<Run> run = options.run.empty() ? lastRun(list) : state.find(options.run);
  if (!run) {
    std::vector<std::string> reasons = std::move(list.problems);
    const std::string which = options.run.empty() ? "no run" : "no run of the name " + options.run;
    reasons.push_back("there is " + which + " in " + state.root().string());
    return {undecided(std::move(reasons))};
  }
  if (options.run.empty() && !list.problems.empty()) {
    list.problems.push_back("so nobody can tell which run is the last one; the last that can be read is " +
                            run->record.name + ": name it to see it");
    return {undecided(std::move(list.problems))};
  }
  ProgressDisplay display(run->record.name, options.json);
  const std::chrono::seconds wait(options.wait);
  return follow(state, *run, {.all = wait, .perDrive = wait + std::chrono::seconds(1)}, display);
}

int result(const Options& options) {
  try {
    return answer(tell(options), options);
  } catch (const std::exception& error) {
    return answer({undecided({error.what()})}, options);
  }
}

}  // namespace

void addResultCommand(CommandLine& line) {
  constexpr long kLongest = 31536000;
  const auto options = std::make_shared<Options>();
  const Command command =
      line.addCommand("result", "Join a run and tell how it ended", [options] { return result(*options); });
  command.footer(
      "Exit status: 0 every drive is updated, staged or current; 1 one failed, is missing or stale;\n"
      "2 usage; 3 anything else is open; 4 refused, or drives were left alone; 5 it goes on.");
  command.addOption("RUN", options->run, "Name of the run; the last one if none is given")
      .check(complaintAboutRun);
  command.addOption("--wait", options->wait, "Wait so long for its end")
      .typeName("SECONDS")
      .range(0L, kLongest);
  addRunOptions(command, *options);
}

}  // namespace tool
