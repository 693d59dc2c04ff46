// The hidden commands that `update` starts in sessions of their own.

#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "Boot.h"
#include "Command.h"
#include "CommandLine.h"
#include "Flash.h"
#include "Follow.h"
#include "Payload.h"
#include "RunLock.h"
#include "Session.h"

namespace tool {

namespace {

struct Options {
  std::string state;
  std::string run;
};

void endUntouched(const StateFolder& state, Run& run, const std::string& reason) {
  Verdict verdict = endedBefore(run);
  verdict.outcome = RunOutcome::kRefused;
  verdict.reasons = {reason};
  run.record.hasFlashed = false;
  finish(state, run, std::move(verdict));
}

int carryOn(const Options& options) {
  ignoreEndingSignals();
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  const StateFolder state(options.state);
  const std::optional<RunLock> lock = RunLock::takeOver(kHandover / 2);
  std::optional<Run> run = state.find(options.run);
  if (!lock || !run || run->record.phase != RunPhase::kApproved) {
    std::cerr << "the run cannot be taken over\n";
    return kFindings;
  }
  if (readPayload(run->record.workingFolder).sha256 != run->record.payload) {
    endUntouched(state, *run, "the payload has changed since it was planned");
    return kClean;
  }
  try {
    flash(state, *run);
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    run->load();
    if (run->record.phase == RunPhase::kApproved)
      endUntouched(state, *run, std::string("nothing was flashed: ") + error.what());
  }
  return kClean;
}

}  // namespace

void addCarryOnCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const Command command =
      line.addCommand("carry-on", "Flash an approved run", [options] { return carryOn(*options); });
  command.hide();
  command.addOption("--state", options->state).required();
  command.addOption("RUN", options->run).required();
}

void addAwaitComponentCommand(CommandLine& line) {
  line.addCommand(kAwaitComponent, "Wait until no component runs", awaitComponent).hide();
}

}  // namespace tool
