#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "AtomicFile.h"
#include "Command.h"
#include "CommandLine.h"
#include "ReportPage.h"
#include "ResultText.h"
#include "TerminalText.h"

namespace tool {

namespace {

constexpr char kStandardOutput[] = "-";

struct Options {
  std::vector<std::string> documents;
  std::string page;
};

int writePage(const std::string& path, const Results& results) {
  if (path == kStandardOutput) {
    writeReport(std::cout, results);
    return kClean;
  }
  std::ostringstream page;
  // A slip such as `report -o *.xml` must not cost a document.
  std::string problem = "is one of the documents";
  if (!isAmong(results, path)) {
    writeReport(page, results);
    problem = replaceOwnFile(path, page.view(), kReportStart);
  }
  if (problem.empty()) return kClean;
  std::cerr << forTerminal(path) << ": cannot be written: " << problem << '\n';
  return kFindings;
}

int report(const Options& options) {
  const Results results = readResults(options.documents);
  complain(std::cerr, results);
  const int status = writePage(options.page, results);
  return results.unreadable.empty() ? status : kFindings;
}

}  // namespace

void addReportCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const Command command =
      line.addCommand("report", "Write a page about the drives of many servers from documents and verdicts",
                      [options] { return report(*options); });
  command.footer(
      "Exit status: 0 all documents read, 1 one could not be read or the page not written, 2 usage.");
  command
      .addOption("DOCUMENT", options->documents,
                 "Documents, verdicts, folders that hold them, - for standard input")
      .required();
  command.addOption("-o,--output", options->page, "HTML file to write, - for standard output").required();
}

}  // namespace tool
