#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Command.h"
#include "CommandLine.h"
#include "ResultText.h"
#include "Results.h"
#include "Table.h"

namespace tool {

namespace {

struct Options {
  std::vector<std::string> documents;
  std::vector<std::string> columns;
  std::string sort;
  bool json = false;
  bool csv = false;
  bool full = false;
  bool failuresOnly = false;
  bool failOnFailed = false;
};

void writeTableAndSummary(const Results& results, const std::vector<ResultRow>& rows,
                          const Options& options) {
  const Terminal terminal = standardOutputTerminal();
  writeTable(std::cout, rows, {.terminal = terminal, .columns = options.columns, .full = options.full});
  if (!rows.empty()) std::cout << '\n';
  writeSummary(std::cout, results, terminal.colour);
}

int show(const Options& options) {
  const Results results = readResults(options.documents);
  // On standard error, so that it never gets into JSON or CSV.
  complain(std::cerr, results);
  std::vector<ResultRow> rows = rowsOf(results);
  if (options.failuresOnly)
    std::erase_if(rows, [](const ResultRow& row) { return !isFailure(row.record->outcome); });
  if (!options.sort.empty()) sortBy(options.sort, rows);
  if (options.json) {
    writeJson(std::cout, results, options.failuresOnly);
  } else if (options.csv) {
    writeCsv(std::cout, rows);
  } else {
    writeTableAndSummary(results, rows, options);
  }
  // A failed record is no failure of this command, unless it was asked to take it for one.
  const bool isFailed = options.failOnFailed && summarize(results).failures > 0;
  return results.unreadable.empty() && !isFailed ? kClean : kFindings;
}

}  // namespace

void addShowCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const std::vector<std::string> names(columnNames().begin(), columnNames().end());
  const Command command = line.addCommand("show", "Show inventories, updates and verdicts as a table",
                                          [options] { return show(*options); });
  command.footer(
      "Exit status: 0 all documents read, 1 one could not be read or --fail-on-failed found a failure, 2 usage.");
  command
      .addOption("DOCUMENT", options->documents,
                 "Documents, verdicts, folders that hold them, - for standard input")
      .required();
  const CommandOption json = command.addFlag("--json", options->json, "Write JSON");
  const CommandOption csv = command.addFlag("--csv", options->csv, "Write CSV").excludes(json);
  command.addOption("--columns", options->columns, "Show these columns, separated by commas")
      .delimiter(',')
      .oneValueEach()
      .oneOf(names)
      .excludes(json)
      .excludes(csv);
  command.addOption("--sort", options->sort, "Sort by this column, instead of failures first")
      .oneOf(names)
      .excludes(json);
  command.addFlag("--full", options->full, "Shorten nothing to fit the terminal")
      .excludes(json)
      .excludes(csv);
  command.addFlag("--failed", options->failuresOnly, "Show failed, missing and stale records only");
  command.addFlag("--fail-on-failed", options->failOnFailed, "End with 1 when there is such a record");
}

}  // namespace tool
