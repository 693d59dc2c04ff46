// The hidden commands that `update` starts in sessions of their own.

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include "Boot.h"
#include "Command.h"
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

/// The process that has approved the run gives the lock up for this one.
std::optional<RunLock> takeOver() {
  constexpr std::chrono::milliseconds kStep{20};
  const auto end = std::chrono::steady_clock::now() + kHandover / 2;
  while (std::chrono::steady_clock::now() < end) {
    if (auto lock = RunLock::tryAcquire()) return lock;
    std::this_thread::sleep_for(kStep);
  }
  return std::nullopt;
}

void endUntouched(const StateFolder& state, Run& run, const std::string& reason) {
  Verdict verdict = endedBefore(run);
  verdict.outcome = RunOutcome::kRefused;
  verdict.exitStatus = kRefusedStatus;
  verdict.reasons = {reason};
  run.record.hasFlashed = false;
  finish(state, run, std::move(verdict));
}

int carryOn(const Options& options) {
  ignoreEndingSignals();
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
  const StateFolder state(options.state);
  const std::optional<RunLock> lock = takeOver();
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

void addCarryOnCommand(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("carry-on", "Flash an approved run")->group("");
  command->add_option("--state", options->state)->required();
  command->add_option("RUN", options->run)->required();
  command->callback([options, &action] { action = [options] { return carryOn(*options); }; });
}

void addAwaitComponentCommand(CLI::App& app, Action& action) {
  app.add_subcommand(kAwaitComponent, "Wait until no component runs")->group("")->callback([&action] {
    action = awaitComponent;
  });
}

}  // namespace tool
