#include "ResultText.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <string_view>
#include <utility>

#include "TerminalText.h"

namespace tool {

namespace {

constexpr char kRed[] = "\033[31m";
constexpr char kYellow[] = "\033[33m";
constexpr char kGreen[] = "\033[32m";
constexpr char kPlain[] = "\033[0m";

std::string revisionsText(const char* title, const std::vector<std::pair<std::string, std::size_t>>& counts) {
  std::string text;
  for (const auto& [revision, count] : counts)
    text += (text.empty() ? title : ", ") + forTerminal(revision) + " x " + std::to_string(count);
  return text;
}

/// As "2 documents, 6 records: 5 success, 1 failed", and more where there is more to say.
std::string totalsText(const Results& results, const ResultSummary& summary) {
  std::string text = counted(results.files.size(), "document") + ", " + counted(summary.records, "record") +
                     ": " + outcomesText(summary.outcomes);
  if (!results.unreadable.empty())
    text += "; " + counted(results.unreadable.size(), "document") + " unreadable";
  text += revisionsText("; revisions ", summary.revisions);
  text += revisionsText("; revisions before updates ", summary.oldRevisions);
  if (!summary.reboots.empty()) text += "; reboot required in " + counted(summary.reboots.size(), "document");
  return text;
}

bool hasKind(const Results& results, DocumentKind kind) {
  return std::any_of(results.files.begin(), results.files.end(),
                     [kind](const ResultFile& file) { return file.document.kind == kind; });
}

/// One value of a record for programs.
struct Field {
  std::string_view name;
  std::string value;
  bool isText = true;  ///< else a number or a truth value
};

/// Programs rely on these names. New fields are added; none is renamed.
std::array<Field, 16> fieldsOf(const ResultRow& row) {
  const Record& record = *row.record;
  return {{{"position", std::to_string(row.position), false},
           {"outcome", outcomeName(record.outcome)},
           {"failed", isFailure(record.outcome) ? "true" : "false", false},
           {"messageId", std::to_string(record.messageId), false},
           {"message", record.message},
           {"name", record.name},
           {"componentId", record.componentId},
           {"vendorId", record.pci.vendor},
           {"deviceId", record.pci.device},
           {"subVendorId", record.pci.subVendor},
           {"subDeviceId", record.pci.subDevice},
           {"enum", record.enumId},
           {"serialNumber", std::string(record.serialNumber())},
           {"componentType", record.componentType},
           {"revision", record.revision},
           {"newRevision", record.newRevision}}};
}

/// A JSON string. Bytes that are not UTF-8 become replacement characters.
std::string jsonString(std::string_view text) {
  const bool isPlain = std::all_of(text.begin(), text.end(),
                                   [](char c) { return c >= ' ' && c <= '~' && c != '"' && c != '\\'; });
  if (isPlain) return '"' + std::string(text) + '"';  // as nearly every text, at a tenth of the cost
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

void writeJsonRecord(std::ostream& out, const ResultRow& row) {
  const char* separator = "{";
  for (const auto& [name, value, isText] : fieldsOf(row))
    out << std::exchange(separator, ", ") << '"' << name << "\": " << (isText ? jsonString(value) : value);
  out << '}';
}

/// A text that a spreadsheet would take for a formula, and run, gets a ' before it.
std::string csvField(std::string text, bool isText = true) {
  constexpr std::string_view kFormulas = "=+-@\t\r";
  if (isText && !text.empty() && kFormulas.find(text.front()) != std::string_view::npos)
    text.insert(0, 1, '\'');
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  for (std::size_t place = 0; (place = text.find('"', place)) != std::string::npos; place += 2)
    text.insert(place, 1, '"');
  return '"' + text + '"';
}

}  // namespace

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

std::string outcomesText(const std::map<Outcome, std::size_t>& outcomes) {
  std::string text;
  for (const Outcome outcome : allOutcomes()) {
    const auto found = outcomes.find(outcome);
    const std::size_t count = found == outcomes.end() ? 0 : found->second;
    // "0 failed" is what people look for.
    if (count == 0 && outcome != Outcome::kFailed) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + outcomeName(outcome);
  }
  return text;
}

void complain(std::ostream& out, const Results& results) {
  for (const auto& [source, problem] : results.unreadable) {
    // `forTerminal` would turn the line ends of an excerpt into dots, so each line goes by itself.
    std::istringstream lines(problem);
    out << forTerminal(source) << ": ";
    for (std::string line; std::getline(lines, line);) out << forTerminal(line) << '\n';
  }
}

void writeSummary(std::ostream& out, const Results& results, bool colour) {
  const ResultSummary summary = summarize(results);
  const auto paint = [&](const char* code) { return colour ? code : ""; };
  const bool anyBad = summary.failures > 0 || !results.unreadable.empty();
  // No record at all may mean that the drive library is missing: green would be a promise.
  const bool anyDoubt = !summary.empty.empty() || results.files.empty();
  out << paint(anyBad     ? kRed
               : anyDoubt ? kYellow
                          : kGreen)
      << totalsText(results, summary) << paint(kPlain) << '\n';
  for (const ResultFile* file : summary.empty)
    out << paint(kYellow) << "WARNING: " << forTerminal(file->source) << ": "
        << forTerminal(noDrivesText(file->document)) << paint(kPlain) << '\n';
  for (const ResultFile& file : results.files) {
    if (!file.notWellFormed.empty())
      out << forTerminal(file.source) << ": " << forTerminal(file.notWellFormed) << "; " << kReadByForm
          << '\n';
  }
  if (results.passedOver > 0)
    out << counted(results.passedOver, "file") << " of other kinds passed over in folders\n";
  if (hasKind(results, DocumentKind::kUpdate)) out << kRevisionsBefore << '\n';
}

void writeJson(std::ostream& out, const Results& results, bool failuresOnly) {
  // Written piece by piece: as a JSON value, the records of a whole fleet would take many times their memory.
  out << "{\n  \"format\": \"nvmepcissd-show\",\n  \"version\": 1,\n  \"documents\": [";
  const char* newFile = "\n";
  for (const ResultFile& file : results.files) {
    out << std::exchange(newFile, ",\n") << "    {\"document\": " << jsonString(file.source)
        << R"(, "kind": ")" << kindName(file.document.kind) << R"(", "wellFormed": )"
        << (file.notWellFormed.empty() ? "true" : "false")
        << ", \"rebootRequired\": " << (file.document.rebootRequired ? "true" : "false")
        << ", \"records\": [";
    const char* newRecord = "\n      ";
    for (std::size_t i = 0; i < file.document.records.size(); ++i) {
      const Record& record = file.document.records[i];
      if (failuresOnly && !isFailure(record.outcome)) continue;
      out << std::exchange(newRecord, ",\n      ");
      writeJsonRecord(out, {&file, &record, i + 1});
    }
    out << "]}";
  }
  out << "],\n  \"unreadable\": [";
  newFile = "\n";
  for (const auto& [source, problem] : results.unreadable)
    out << std::exchange(newFile, ",\n") << "    {\"document\": " << jsonString(source)
        << ", \"problem\": " << jsonString(problem) << '}';
  const ResultSummary summary = summarize(results);
  out << "],\n  \"summary\": {\"documents\": " << results.files.size() << ", \"records\": " << summary.records
      << ", \"failed\": " << summary.failures << ", \"unreadable\": " << results.unreadable.size()
      << "}\n}\n";
}

void writeCsv(std::ostream& out, const std::vector<ResultRow>& rows) {
  // The titles are those of any record, an empty one too.
  const ResultFile noFile{};
  const Record noRecord;
  // RFC 4180 wants CR LF at the end of each line.
  out << "document,kind";
  for (const Field& field : fieldsOf({&noFile, &noRecord, 0})) out << ',' << field.name;
  out << "\r\n";
  for (const ResultRow& row : rows) {
    out << csvField(row.file->source) << ',' << kindName(row.file->document.kind);
    for (auto& [name, value, isText] : fieldsOf(row)) out << ',' << csvField(std::move(value), isText);
    out << "\r\n";
  }
}

}  // namespace tool
