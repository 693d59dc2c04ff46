#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "Command.h"
#include "CommandLine.h"
#include "DebugLog.h"
#include "FileContent.h"
#include "VerdictText.h"
#include "Verification.h"

namespace tool {

namespace {

struct Options {
  std::string log;
  bool json = false;
};

/// What the log of an inventory shows: its drives, of which none was to be flashed.
Verdict verdictOf(const LoggedRun& run) {
  Verdict verdict = verify({.log = &run});
  if (run.isUpdate) return verdict;
  for (DriveVerdict& drive : verdict.drives) {
    drive.state = Outcome::kUntouched;
    drive.reason = "the run was an inventory";
  }
  conclude(verdict);
  return verdict;
}

/// What the last command in the log came to. A file that is no log, or cannot be read, decides nothing.
Verdict verdictOf(const std::string& path) {
  const auto undecided = [&path](const std::string& problem) { return Verdict{.reasons = {path + problem}}; };
  try {
    // `-i -u` logs an inventory and then the update, which lists the same drives again.
    const std::vector<LoggedRun> runs = parseDebugLog(contentOf(path));
    if (runs.empty()) return undecided(":1: no command of nvmepcissd from here on: is this a debug log?");
    Verdict verdict = verdictOf(runs.back());
    if (!runs.back().ended)
      verdict.reasons.emplace_back(
          "the log ends before the run does: the run goes on, was ended, or the log was silenced");
    return verdict;
  } catch (const std::system_error& error) {
    return undecided(": cannot be read: " + error.code().message());
  }
}

int runLog(const Options& options) {
  return answer(verdictOf(options.log), options.json);
}

}  // namespace

void addLogCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const Command command = line.addCommand("log", "Tell from a debug log what happened to every drive",
                                          [options] { return runLog(*options); });
  command.footer(
      "Exit status: 1 a drive failed; 2 usage; 3 otherwise: a log alone does not show what a drive runs.");
  command.addOption("LOG", options->log, "Debug log, - for standard input").required();
  command.addFlag("--json", options->json, "Write JSON");
}

}  // namespace tool
