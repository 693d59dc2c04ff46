// `history`: lists the runs that are kept.

#include <algorithm>
#include <exception>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Command.h"
#include "CommandLine.h"
#include "Flash.h"
#include "RunOptions.h"
#include "RunOverview.h"
#include "TerminalText.h"
#include "VerdictText.h"

namespace tool {

namespace {

struct Entry {
  RunRecord record;
  Verdict verdict;
};

std::vector<Entry> entriesOf(const RunList& list) {
  std::vector<Entry> entries;
  entries.reserve(list.runs.size());
  for (const Run& run : list.runs) entries.push_back({run.record, overviewOf(run)});
  return entries;
}

/// A run that cannot be read may be any run.
RunOutcome outcomeOf(const std::vector<std::string>& problems) {
  return problems.empty() ? RunOutcome::kDone : RunOutcome::kUndecided;
}

void writeJson(const std::vector<Entry>& entries, const std::vector<std::string>& problems) {
  auto runs = nlohmann::ordered_json::array();
  for (const auto& [record, verdict] : entries) {
    runs.push_back({{"run", record.name},
                    {"kind", nameOf(record.kind)},
                    {"phase", nameOf(record.phase)},
                    {"began", record.began},
                    {"ended", record.ended.empty() ? nlohmann::ordered_json(nullptr)
                                                   : nlohmann::ordered_json(record.ended)},
                    {"component", record.component},
                    {"bootId", record.bootId},
                    {"outcome", nameOf(verdict.outcome)},
                    {"exitStatus", exitStatusOf(verdict.outcome)},
                    {"drives", verdict.drives.size()}});
  }
  const nlohmann::ordered_json document{{"format", "nvmepcissd-history"},
                                        {"version", 1},
                                        {"run", nullptr},
                                        {"outcome", nameOf(outcomeOf(problems))},
                                        {"exitStatus", exitStatusOf(outcomeOf(problems))},
                                        {"reasons", problems},
                                        {"bootId", nullptr},
                                        {"drives", nlohmann::ordered_json::array()},
                                        {"runs", runs}};
  std::cout << document.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

void writeText(const std::vector<Entry>& entries) {
  std::size_t width = 0;
  for (const Entry& entry : entries) width = std::max(width, entry.record.name.size());
  for (const auto& [record, verdict] : entries) {
    std::cout << record.name << std::string(width - record.name.size() + 2, ' ') << forTerminal(record.began)
              << "  " << nameOf(record.kind) << ", " << nameOf(verdict.outcome) << "\n    "
              << sentence(verdict) << '\n';
  }
  if (entries.empty()) std::cout << "There is no run.\n";
}

int history(const RunOptions& options) {
  const RunList list = options.stateFolder().list();
  const std::vector<Entry> entries = entriesOf(list);
  if (options.json) {
    writeJson(entries, list.problems);
  } else {
    for (const std::string& problem : list.problems) std::cerr << forTerminal(problem) << '\n';
    writeText(entries);
  }
  return exitStatusOf(outcomeOf(list.problems));
}

}  // namespace

void addHistoryCommand(CommandLine& line) {
  const auto options = std::make_shared<RunOptions>();
  const Command command =
      line.addCommand("history", "List the runs that are kept", [options] { return history(*options); });
  command.footer("Exit status: 0 done, 1 a failure, 2 usage, 3 a run cannot be read.");
  addRunOptions(command, *options);
}

}  // namespace tool
