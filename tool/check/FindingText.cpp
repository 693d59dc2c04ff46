#include "FindingText.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <ostream>

#include "TerminalText.h"

namespace tool {

namespace {

std::string placeOf(const Finding& finding) {
  std::string place = forTerminal(finding.file.string());
  if (finding.line > 0) {
    place += ':';
    place += std::to_string(finding.line);
  }
  return place;
}

/// As "1 error, 2 warnings".
std::string countsOf(const Findings& findings) {
  std::string text;
  for (const Severity severity : {Severity::kError, Severity::kWarning, Severity::kNote}) {
    const auto count = std::count_if(findings.begin(), findings.end(),
                                     [severity](const Finding& f) { return f.kind->severity == severity; });
    if (count == 0) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + std::string(nameOf(severity)) +
            (count == 1 ? "" : "s");
  }
  return text;
}

}  // namespace

void writeFindings(std::ostream& out, const Findings& findings, bool colour) {
  for (const Finding& finding : findings) {
    out << (colour ? "\033[1m" : "") << placeOf(finding) << ": " << nameOf(finding.kind->severity) << ": "
        << forTerminal(finding.problem) << (colour ? "\033[0m" : "") << " [" << finding.kind->id << "]"
        << "\n    at run time: " << forTerminal(finding.consequence)
        << "\n    to fix: " << forTerminal(finding.remedy) << "\n";
  }
  out << (findings.empty() ? "no findings" : countsOf(findings)) << '\n';
}

void writeFindingsAsJson(std::ostream& out, const Findings& findings) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const Finding& finding : findings) {
    list.push_back({{"id", finding.kind->id},
                    {"severity", nameOf(finding.kind->severity)},
                    {"file", finding.file.string()},
                    {"line", finding.line},
                    {"problem", finding.problem},
                    {"consequence", finding.consequence},
                    {"remedy", finding.remedy}});
  }
  const nlohmann::ordered_json document{{"format", "nvmepcissd-check"}, {"version", 1}, {"findings", list}};
  out << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace tool
