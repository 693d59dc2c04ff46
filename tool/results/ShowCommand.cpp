#include "ShowCommand.h"

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "ResultText.h"
#include "Results.h"
#include "Terminal.h"

namespace tool {

namespace {

struct Options {
  std::vector<std::string> documents;
  bool json = false;
  bool csv = false;
};

int show(const Options& options) {
  const Results results = readResults(options.documents);
  complain(std::cerr, results);
  if (options.json) {
    writeJson(std::cout, results);
  } else if (options.csv) {
    writeCsv(std::cout, results);
  } else {
    writeTable(std::cout, results, standardOutputTerminal());
  }
  return results.unreadable.empty() ? kClean : kFindings;
}

}  // namespace

void addShowCommand(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("show", "Show inventory and update documents as a table");
  command->footer("Exit status: 0 all documents read, 1 one could not be read, 2 usage.");
  command->add_option("DOCUMENT", options->documents, "Result documents, - for standard input")->required();
  CLI::Option* const json = command->add_flag("--json", options->json, "Write JSON");
  command->add_flag("--csv", options->csv, "Write CSV")->excludes(json);
  command->callback([options, &action] { action = [options] { return show(*options); }; });
}

}  // namespace tool
