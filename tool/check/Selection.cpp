#include "Selection.h"

#include <algorithm>
#include <sstream>

#include "FileStart.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

struct Rule {
  std::string id;
  std::string file;  ///< empty: every file

  bool covers(const Finding& finding, const fs::path& folder) const {
    return finding.kind->id == id && (file.empty() || finding.file == (folder / file).lexically_normal() ||
                                      finding.file == folder / file);
  }
};

/// Unknown ids go to `findings`.
std::vector<Rule> readRules(const fs::path& folder, Findings& findings) {
  constexpr std::size_t kLongest = 65536;
  std::vector<Rule> rules;
  std::istringstream lines(startOf(folder / kIgnoreFile, kLongest));
  long number = 0;
  for (std::string line; std::getline(lines, line);) {
    ++number;
    std::istringstream words(line.substr(0, line.find('#')));
    Rule rule;
    if (!(words >> rule.id)) continue;
    std::getline(words >> std::ws, rule.file);
    rule.file.erase(rule.file.find_last_not_of(" \t\r") + 1);
    if (indexOfKind(rule.id) == kKinds.size()) {
      findings.push_back({"ignore-unknown", folder / kIgnoreFile, number,
                          "there are no findings with the id \"" + rule.id + "\"",
                          "a run does not read this file; nothing is ignored by this line",
                          "write the id as the check shows it, in brackets"});
    } else {
      rules.push_back(std::move(rule));
    }
  }
  return rules;
}

}  // namespace

Findings select(const Findings& findings, const fs::path& folder, const Selection& selection) {
  Findings all = findings;
  const std::vector<Rule> rules = readRules(folder, all);
  std::erase_if(all, [&](const Finding& finding) {
    const bool isMeant = std::any_of(rules.begin(), rules.end(),
                                     [&](const Rule& rule) { return rule.covers(finding, folder); });
    return isMeant || selection.ignored.contains(std::string(finding.kind->id)) ||
           finding.kind->severity < selection.lowest;
  });
  return all;
}

}  // namespace tool
