// `metrics`: this machine's drives and its last run, for a Prometheus node exporter. Reads only.

#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "AtomicFile.h"
#include "Command.h"
#include "CommandLine.h"
#include "DriveFacts.h"
#include "Metrics.h"
#include "RunOptions.h"
#include "RunOverview.h"
#include "TerminalText.h"

namespace tool {

namespace {

struct Options {
  std::string file;
  std::string state;
};

/// Without runs that can be read there is none to tell of.
RunsOverview runsOf(const Options& options, const std::vector<DriveFacts>& drives) {
  try {
    return overviewOf(RunOptions{.state = options.state}.stateFolder().list(), drives);
  } catch (const std::exception& error) {
    std::cerr << forTerminal(error.what()) << '\n';
    return overviewOf(RunList{}, drives);
  }
}

std::string metricsOf(const Options& options) {
  const std::vector<DriveFacts> drives = readDriveFacts().drives;
  const RunsOverview runs = runsOf(options, drives);
  return metricsText(drives, runs.awaitingReset, runs.last);
}

int writeMetrics(const Options& options) {
  const std::string text = metricsOf(options);
  if (options.file.empty() || options.file == "-") {
    std::cout << text;
    return kClean;
  }
  const std::string problem = replaceOwnFile(options.file, text, kMetricsStart);
  if (problem.empty()) return kClean;
  std::cerr << forTerminal(options.file) << ": cannot be written: " << problem << '\n';
  return kFindings;
}

}  // namespace

void addMetricsCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const Command command = line.addCommand(
      "metrics", "Write this machine's drives and last run as metrics for a Prometheus node exporter",
      [options] { return writeMetrics(*options); });
  command.footer("Exit status: 0 written, 1 the file could not be written, 2 usage.");
  command.addOption("-o,--output", options->file, "File to write or replace, instead of standard output");
  addStateOption(command, options->state);
}

}  // namespace tool
