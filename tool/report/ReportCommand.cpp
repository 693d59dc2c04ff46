#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "AtomicFile.h"
#include "Command.h"
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

/// Why the page must not be written to `path`; empty when it may.
std::string refusal(const std::string& path, const Results& results) {
  namespace fs = std::filesystem;
  const fs::file_status status = fs::status(path);
  // A slip such as `report -o *.xml` must not cost a document.
  if (isAmong(results, path)) return "is one of the documents";
  if (!fs::exists(status)) return {};
  if (!fs::is_regular_file(status)) return "is no regular file; -o - writes to standard output";
  std::string start(kReportStart.size(), '\0');
  std::ifstream(path, std::ios::binary).read(start.data(), static_cast<std::streamsize>(start.size()));
  return start == kReportStart ? "" : "exists and is no page of this program";
}

int writePage(const std::string& path, const Results& results) {
  if (path == kStandardOutput) {
    writeReport(std::cout, results);
    return kClean;
  }
  std::string problem = refusal(path, results);
  if (problem.empty()) {
    // Complete before the file is touched.
    std::ostringstream page;
    writeReport(page, results);
    try {
      writeAtomically(path, page.view(),
                      std::filesystem::exists(path) ? Existing::kReplace : Existing::kKeep);
      return kClean;
    } catch (const std::system_error& error) {
      problem = error.code().message();
    }
  }
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

void addReportCommand(CLI::App& app, Action& action) {
  const auto options = std::make_shared<Options>();
  CLI::App* const command = app.add_subcommand(
      "report", "Write a page about the drives of many servers from documents and verdicts");
  command->footer(
      "Exit status: 0 all documents read, 1 one could not be read or the page not written, 2 usage.");
  command
      ->add_option("DOCUMENT", options->documents,
                   "Documents, verdicts, folders that hold them, - for standard input")
      ->required();
  command->add_option("-o,--output", options->page, "HTML file to write, - for standard output")->required();
  command->callback([options, &action] { action = [options] { return report(*options); }; });
}

}  // namespace tool
