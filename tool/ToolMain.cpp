#include <sys/ioctl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <functional>
#include <iostream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "PackageCheck.h"
#include "ReportPage.h"
#include "ResultText.h"
#include "TerminalText.h"

namespace {

enum ExitStatus { kClean = 0, kFindings = 1, kUsage = 2 };

tool::Terminal terminal() {
  if (isatty(STDOUT_FILENO) != 1) return {};
  const char* const kind = std::getenv("TERM");
  const char* const refused = std::getenv("NO_COLOR");
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
  return {.colour =
              (refused == nullptr || *refused == '\0') && (kind == nullptr || std::strcmp(kind, "dumb") != 0),
          .columns = known ? size.ws_col : std::size_t{0}};
}

std::string placeOf(const tool::Finding& finding) {
  return tool::forTerminal(finding.file.string()) +
         (finding.line > 0 ? ":" + std::to_string(finding.line) : "");
}

void printFindings(const tool::Findings& findings, bool colour) {
  for (const tool::Finding& finding : findings) {
    std::cout << (colour ? "\033[1m" : "") << placeOf(finding) << ": " << tool::forTerminal(finding.problem)
              << (colour ? "\033[0m" : "") << "\n    at run time: " << tool::forTerminal(finding.atRunTime)
              << "\n    to mend: " << tool::forTerminal(finding.remedy) << "\n";
  }
  if (findings.empty()) {
    std::cout << "no findings\n";
  } else {
    std::cout << findings.size() << (findings.size() == 1 ? " finding\n" : " findings\n");
  }
}

void printFindingsAsJson(const tool::Findings& findings) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const auto& [file, line, problem, atRunTime, remedy] : findings) {
    list.push_back({{"file", file.string()},
                    {"line", line},
                    {"problem", problem},
                    {"atRunTime", atRunTime},
                    {"remedy", remedy}});
  }
  std::cout << list.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

int check(const std::string& folder, bool json) {
  const tool::Findings findings = tool::checkPackage(folder);
  if (json) {
    printFindingsAsJson(findings);
  } else {
    printFindings(findings, terminal().colour);
  }
  return findings.empty() ? kClean : kFindings;
}

/// The table and the report show unreadable documents themselves as well; standard error has them always.
tool::Results readAndComplain(const std::vector<std::string>& documents) {
  tool::Results results = tool::readResults(documents);
  for (const auto& [source, problem] : results.unreadable)
    std::cerr << tool::forTerminal(source) << ": " << problem << '\n';
  return results;
}

int statusOf(const tool::Results& results) {
  return results.unreadable.empty() ? kClean : kFindings;
}

int show(const std::vector<std::string>& documents, bool json, bool csv) {
  const tool::Results results = readAndComplain(documents);
  if (json) {
    tool::writeJson(std::cout, results);
  } else if (csv) {
    tool::writeCsv(std::cout, results);
  } else {
    tool::writeTable(std::cout, results, terminal());
  }
  return statusOf(results);
}

int report(const std::vector<std::string>& documents, const std::string& path) {
  const tool::Results results = readAndComplain(documents);
  std::ofstream file(path);
  tool::writeReport(file, results);
  file.close();
  if (file.fail()) {
    std::cerr << path << ": cannot be written: " << std::strerror(errno) << '\n';
    return kFindings;
  }
  return statusOf(results);
}

int run(int argc, char** argv) {
  CLI::App app("Checks component folders and shows result documents of nvmepcissd.", "nvmepcissd-tool");
  app.set_version_flag("--version", TOOL_VERSION);
  app.require_subcommand(1);
  std::function<int()> command;

  std::string folder;
  bool json = false;
  bool csv = false;
  std::string page;
  std::vector<std::string> documents;

  CLI::App* const checkCommand = app.add_subcommand("check", "Report the traps in a component folder");
  checkCommand->footer("Exit status: 0 no findings, 1 findings, 2 usage.");
  checkCommand->add_option("DIR", folder, "Component folder")->required()->check(CLI::ExistingDirectory);
  checkCommand->add_flag("--json", json, "Write the findings as JSON");
  checkCommand->callback([&] { command = [&] { return check(folder, json); }; });

  CLI::App* const showCommand = app.add_subcommand("show", "Show inventory and update documents as a table");
  showCommand->footer("Exit status: 0 all documents read, 1 one could not be read, 2 usage.");
  showCommand->add_option("DOCUMENT", documents, "Result documents, - for standard input")->required();
  CLI::Option* const jsonFlag = showCommand->add_flag("--json", json, "Write JSON");
  showCommand->add_flag("--csv", csv, "Write CSV")->excludes(jsonFlag);
  showCommand->callback([&] { command = [&] { return show(documents, json, csv); }; });

  CLI::App* const reportCommand =
      app.add_subcommand("report", "Write a page about inventory and update documents");
  reportCommand->footer(
      "Exit status: 0 all documents read, 1 one could not be read or the page not written, 2 usage.");
  reportCommand->add_option("DOCUMENT", documents, "Result documents, - for standard input")->required();
  reportCommand->add_option("-o,--output", page, "HTML file to write")->required();
  reportCommand->callback([&] { command = [&] { return report(documents, page); }; });

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kClean : kUsage;
  }
  const int status = command();
  std::cout.flush();
  if (!std::cout) {
    std::cerr << "standard output: cannot be written\n";
    return kFindings;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "nvmepcissd-tool: %s\n", error.what()));
    return kFindings;
  }
}
