// `inventory`: has the component take an inventory, and keeps what it left.

#include <exception>
#include <iostream>
#include <memory>
#include <string>

#include "Command.h"
#include "CommandLine.h"
#include "ComponentFiles.h"
#include "Flash.h"
#include "Preparation.h"
#include "RunLock.h"
#include "RunOptions.h"

namespace tool {

namespace {

struct Options : RunOptions {
  std::string folder;
  bool keepEnvironment = false;
};

DriveVerdict listed(const Record& record) {
  DriveVerdict drive;
  drive.state = Outcome::kUndecided;
  drive.reason = record.message;
  if (record.outcome == Outcome::kFailed) return drive;
  drive.state = Outcome::kListed;
  drive.serial = std::string(record.serialNumber());
  drive.name = record.name;
  drive.pci = record.pci;
  drive.before = std::string(record.latestRevision());
  return drive;
}

/// Done when every drive tells what it runs; drives that are missing need not be missed here.
Verdict tellOf(const InventoryTaken& taken) {
  Verdict verdict{.outcome = RunOutcome::kDone, .reasons = taken.problems};
  if (taken.document) {
    for (const Record& record : taken.document->records) verdict.drives.push_back(listed(record));
  }
  bool isWhole = taken.document.has_value();
  for (const DriveVerdict& drive : verdict.drives) isWhole = isWhole && drive.state == Outcome::kListed;
  if (isWhole && (!verdict.drives.empty() || taken.problems.empty())) return verdict;
  verdict.outcome = RunOutcome::kUndecided;
  return verdict;
}

Verdict takeStock(const Options& options) {
  const StateFolder state = options.stateFolder();
  const auto lock = RunLock::acquireSoon();
  if (!lock) return refusal({"a run goes on on this server"});
  Run run = state.create(RunKind::kInventory, "");
  run.record.component = std::filesystem::canonical(options.folder).string();
  run.record.environment = componentEnvironment(options.keepEnvironment);
  run.save();
  Verdict verdict =
      tellOf(takeInventory(run.record.component, run.record.environment, run.file("inventory")));
  finish(state, run, verdict);
  verdict.run = run.record.name;
  verdict.bootId = run.record.bootId;
  return verdict;
}

int inventory(const Options& options) {
  try {
    return answer({takeStock(options)}, options);
  } catch (const std::exception& error) {
    return answer({refusal({error.what()})}, options);
  }
}

}  // namespace

void addInventoryCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const Command command = line.addCommand("inventory", "List the drives that a component finds",
                                          [options] { return inventory(*options); });
  command.footer(
      "Exit status: 0 done; 2 usage; 3 a drive does not tell its revision, or there is no document; 4 refused.");
  command.addOption("DIR", options->folder, "Component folder").required().existingFolder();
  addEnvironmentOption(command, options->keepEnvironment);
  addRunOptions(command, *options);
}

}  // namespace tool
