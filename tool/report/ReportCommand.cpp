#include "ReportCommand.h"

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "ReportPage.h"
#include "ResultText.h"

namespace tool {

namespace {

struct Options {
  std::vector<std::string> documents;
  std::string page;
};

int report(const Options& options) {
  const Results results = readResults(options.documents);
  complain(std::cerr, results);
  std::ofstream file(options.page);
  writeReport(file, results);
  file.close();
  if (file.fail()) {
    std::cerr << options.page << ": cannot be written: " << std::strerror(errno) << '\n';
    return kFindings;
  }
  return results.unreadable.empty() ? kClean : kFindings;
}

}  // namespace

void addReportCommand(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand("report", "Write a page about inventory and update documents");
  command->footer(
      "Exit status: 0 all documents read, 1 one could not be read or the page not written, 2 usage.");
  command->add_option("DOCUMENT", options->documents, "Result documents, - for standard input")->required();
  command->add_option("-o,--output", options->page, "HTML file to write")->required();
  command->callback([options, &action] { action = [options] { return report(*options); }; });
}

}  // namespace tool
