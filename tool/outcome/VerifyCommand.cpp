#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "Command.h"
#include "CommandLine.h"
#include "DebugLog.h"
#include "FileContent.h"
#include "Identity.h"
#include "Results.h"
#include "TerminalText.h"
#include "VerdictText.h"
#include "Verification.h"

namespace tool {

namespace {

struct Options {
  std::string before;
  std::string update;
  std::string after;
  std::string log;
  std::string wanted;
  bool json = false;
};

/// Reads what the command line names and keeps it while the verdict is made.
class Evidence {
 public:
  explicit Evidence(const Options& options)
      : m_before(read(options.before, DocumentKind::kInventory)),
        m_update(read(options.update, DocumentKind::kUpdate)),
        m_after(options.after.empty() ? std::nullopt : read(options.after, DocumentKind::kInventory)) {
    if (!options.log.empty()) readLog(options.log);
    m_wanted = unlessEmpty(nvme_linux::trimmed(options.wanted));
  }

  /// A document of the wrong kind stands in the wrong place: the command line is wrong.
  bool isMisplaced() const { return m_misplaced; }

  const std::vector<std::string>& problems() const { return m_problems; }

  Verdict judge() const {
    const auto pointer = [](const auto& thing) { return thing ? &*thing : nullptr; };
    Verdict verdict = verify({.before = pointer(m_before),
                              .update = pointer(m_update),
                              .after = pointer(m_after),
                              .log = pointer(m_log),
                              .wanted = m_wanted});
    verdict.reasons.insert(verdict.reasons.begin(), m_problems.begin(), m_problems.end());
    return verdict;
  }

 private:
  std::optional<Document> read(const std::string& path, DocumentKind kind) {
    Results results = readResults({path});
    for (const auto& [source, problem] : results.unreadable)
      m_problems.push_back(source + ": " + problem.substr(0, problem.find('\n')));
    if (results.files.empty()) return std::nullopt;
    ResultFile& file = results.files.front();
    if (!file.notWellFormed.empty())
      m_problems.push_back(path + ": " + file.notWellFormed + "; " + kReadByForm);
    if (file.document.kind != kind) {
      m_problems.push_back(path + ": is of the kind " + kindName(file.document.kind) + ", and " +
                           kindName(kind) + " is expected here");
      m_misplaced = true;
      return std::nullopt;
    }
    return std::move(file.document);
  }

  /// Of the commands in the log, the last update is the one that the update document is about.
  void readLog(const std::string& path) {
    try {
      for (LoggedRun& run : parseDebugLog(contentOf(path))) {
        if (run.isUpdate) m_log = std::move(run);
      }
      if (!m_log) m_problems.push_back(path + ":1: no line of an update by nvmepcissd from here on");
    } catch (const std::system_error& error) {
      m_problems.push_back(path + ": cannot be read: " + error.code().message());
    }
  }

  std::vector<std::string> m_problems;
  bool m_misplaced = false;
  std::optional<Document> m_before;
  std::optional<Document> m_update;
  std::optional<Document> m_after;
  std::optional<LoggedRun> m_log;
  std::optional<std::string> m_wanted;
};

int runVerify(const Options& options) {
  const Evidence evidence(options);
  if (evidence.isMisplaced()) {
    for (const std::string& problem : evidence.problems()) std::cerr << forTerminal(problem) << '\n';
    std::cerr << "usage: nvmepcissd-tool verify BEFORE UPDATE [AFTER]\n";
    return kUsage;
  }
  return answer(evidence.judge(), options.json);
}

}  // namespace

void addVerifyCommand(CommandLine& line) {
  const auto options = std::make_shared<Options>();
  const Command command = line.addCommand("verify", "Tell from documents what an update did to every drive",
                                          [options] { return runVerify(*options); });
  command.footer(
      "Exit status: 0 every drive is updated, staged or current; 1 one failed, is missing or stale;\n"
      "2 usage; 3 anything else is open.");
  command.addOption("BEFORE", options->before, "Inventory document from before the update").required();
  command.addOption("UPDATE", options->update, "Update document").required();
  command.addOption("AFTER", options->after, "Inventory document from after the update");
  command.addOption("--log", options->log, "Debug log of the update (option -d of nvmepcissd)");
  command.addOption("--to", options->wanted, "Revision that the drives are to run")
      .check([](const std::string& text) { return nvme_linux::trimmed(text).empty() ? "is blank" : ""; });
  command.addFlag("--json", options->json, "Write JSON");
}

}  // namespace tool
