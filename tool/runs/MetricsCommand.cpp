#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <string>

#include "AtomicFile.h"
#include "Command.h"
#include "DriveFacts.h"
#include "Metrics.h"
#include "TerminalText.h"

namespace tool {

namespace {

int writeMetrics(const std::string& file) {
  const std::string text = metricsText(readDriveFacts().drives);
  if (file.empty() || file == "-") {
    std::cout << text;
    return kClean;
  }
  const std::string problem = replaceOwnFile(file, text, kMetricsStart);
  if (problem.empty()) return kClean;
  std::cerr << forTerminal(file) << ": cannot be written: " << problem << '\n';
  return kFindings;
}

}  // namespace

void addMetricsCommand(CLI::App& app, Action& action) {
  const auto file = std::make_shared<std::string>();
  CLI::App* const command =
      app.add_subcommand("metrics", "Write this machine's drives as metrics for a Prometheus node exporter");
  command->footer("Exit status: 0 written, 1 the file could not be written, 2 usage.");
  command->add_option("-o,--output", *file, "File to write or replace, instead of standard output");
  command->callback([file, &action] { action = [file] { return writeMetrics(*file); }; });
}

}  // namespace tool
