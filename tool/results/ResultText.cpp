#include "ResultText.h"

#include <algorithm>
#include <array>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>

#include "TerminalText.h"

namespace tool {

namespace {

/// What is said of a document that is not well-formed and was read all the same.
constexpr char kReadByForm[] = "read all the same, by the form in which nvmepcissd writes";
constexpr char kRed[] = "\033[31m";
constexpr char kGreen[] = "\033[32m";
constexpr char kBold[] = "\033[1m";
constexpr char kPlain[] = "\033[0m";

struct Column {
  const char* title;
  std::function<std::string(const ResultRow&)> text;
};

const std::array<Column, 9>& tableColumns() {
  static const std::array<Column, 9> kColumns{{
      {"DOCUMENT", [](const ResultRow& row) { return row.file->source; }},
      {"#", [](const ResultRow& row) { return std::to_string(row.position); }},
      {"OUTCOME", [](const ResultRow& row) { return std::string(outcomeName(row.record->outcome)); }},
      {"REVISION", [](const ResultRow& row) { return row.record->revision; }},
      {"NAME", [](const ResultRow& row) { return row.record->name; }},
      {"SERIAL NUMBER", [](const ResultRow& row) { return std::string(row.record->serialNumber()); }},
      {"PCI IDS", [](const ResultRow& row) { return row.record->pciText(); }},
      {"COMPONENT", [](const ResultRow& row) { return row.record->componentId; }},
      {"MESSAGE", [](const ResultRow& row) { return row.record->message; }},
  }};
  return kColumns;
}

/// A column of the table, ready to be printed.
struct Cells {
  std::string title;
  std::vector<std::string> texts;
  std::size_t width = 0;
};

std::vector<Cells> cellsOf(const std::vector<ResultRow>& rows) {
  std::vector<Cells> columns;
  for (const Column& column : tableColumns()) {
    Cells cells{.title = column.title, .texts = {}, .width = 0};
    for (const ResultRow& row : rows) {
      cells.width =
          std::max(cells.width, terminalWidth(cells.texts.emplace_back(forTerminal(column.text(row)))));
    }
    if (cells.width == 0) continue;
    cells.width = std::max(cells.width, cells.title.size());
    columns.push_back(std::move(cells));
  }
  return columns;
}

void writeLine(std::ostream& out, const std::vector<Cells>& columns,
               const std::function<std::string(const Cells&)>& cell) {
  std::string line;
  for (const Cells& column : columns) {
    const std::string text = cell(column);
    line += text + std::string(column.width - terminalWidth(text) + 2, ' ');
  }
  out << line.substr(0, line.find_last_not_of(' ') + 1);
}

/// A table that is too wide for the terminal, turned: a block a record, without what it has no value for.
void writeBlocks(std::ostream& out, const std::vector<Cells>& columns, std::size_t row) {
  std::size_t indent = 0;
  for (const Cells& column : columns) indent = std::max(indent, column.title.size());
  for (const Cells& column : columns) {
    const std::string& text = column.texts[row];
    if (!text.empty())
      out << column.title << std::string(indent - column.title.size() + 2, ' ') << text << '\n';
  }
}

std::size_t widthOf(const std::vector<Cells>& columns) {
  constexpr std::size_t kGap = 2;
  std::size_t width = 0;
  for (const Cells& column : columns) width += column.width + kGap;
  return width - std::min(width, kGap);
}

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// As "5 success, 1 failed"; failures are always told, the others where there are any.
std::string outcomesText(const ResultSummary& summary) {
  std::string text;
  for (const auto& [outcome, count] : summary.outcomes) {
    if (count == 0 && outcome != Outcome::kFailed) continue;
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + outcomeName(outcome);
  }
  return text;
}

/// As "2 documents, 6 records: 5 success, 1 failed", and more where there is more to say.
std::string summaryText(const Results& results) {
  const ResultSummary summary = summarize(results);
  std::string text = counted(results.files.size(), "document") + ", " + counted(summary.records, "record") +
                     ": " + outcomesText(summary);
  if (!results.unreadable.empty())
    text += "; " + counted(results.unreadable.size(), "document") + " unreadable";
  std::string revisions;
  for (const auto& [revision, count] : summary.revisions) {
    revisions += (revisions.empty() ? "; revisions " : ", ") +
                 forTerminal(revision.empty() ? "(none)" : revision) + " x " + std::to_string(count);
  }
  text += revisions;
  if (!summary.reboots.empty()) text += "; reboot required in " + counted(summary.reboots.size(), "document");
  return text;
}

nlohmann::ordered_json jsonOf(const ResultRow& row) {
  const Record& record = *row.record;
  return {{"position", row.position},
          {"outcome", outcomeName(record.outcome)},
          {"failed", record.outcome == Outcome::kFailed},
          {"messageId", record.messageId},
          {"message", record.message},
          {"name", record.name},
          {"componentId", record.componentId},
          {"vendorId", record.pci.vendor},
          {"deviceId", record.pci.device},
          {"subVendorId", record.pci.subVendor},
          {"subDeviceId", record.pci.subDevice},
          {"enum", record.enumId},
          {"serialNumber", record.serialNumber()},
          {"componentType", record.componentType},
          {"revision", record.revision}};
}

/// A text that a spreadsheet would take for a formula, and run, gets a ' before it.
std::string csvField(const nlohmann::ordered_json& value) {
  std::string text = value.is_string() ? value.get<std::string>() : value.dump();
  constexpr std::string_view kFormulas = "=+-@\t\r";
  if (value.is_string() && !text.empty() && kFormulas.find(text.front()) != std::string_view::npos)
    text.insert(0, 1, '\'');
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  for (std::size_t place = 0; (place = text.find('"', place)) != std::string::npos; place += 2)
    text.insert(place, 1, '"');
  return '"' + text + '"';
}

}  // namespace

void complain(std::ostream& out, const Results& results) {
  for (const auto& [source, problem] : results.unreadable)
    out << forTerminal(source) << ": " << problem << '\n';
}

void writeTable(std::ostream& out, const Results& results, const Terminal& terminal) {
  const auto paint = [&](const char* code) { return terminal.colour ? code : ""; };
  const std::vector<ResultRow> rows = rowsOf(results);
  const std::vector<Cells> columns = cellsOf(rows);
  const bool fits = terminal.columns == 0 || widthOf(columns) <= terminal.columns;
  if (!rows.empty() && fits) {
    out << paint(kBold);
    writeLine(out, columns, [](const Cells& column) { return column.title; });
    out << paint(kPlain) << '\n';
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const bool failed = rows[i].record->outcome == Outcome::kFailed;
    out << paint(failed ? kRed : "");
    if (fits) {
      writeLine(out, columns, [i](const Cells& column) { return column.texts[i]; });
    } else {
      writeBlocks(out, columns, i);
    }
    out << paint(failed ? kPlain : "") << '\n';
  }
  if (!rows.empty() && fits) out << '\n';
  const bool anyFailed = summarize(results).failed() > 0 || !results.unreadable.empty();
  out << paint(anyFailed ? kRed : kGreen) << summaryText(results) << paint(kPlain) << '\n';
  for (const ResultFile& file : results.files) {
    if (!file.notWellFormed.empty())
      out << forTerminal(file.source) << ": " << forTerminal(file.notWellFormed) << "; " << kReadByForm
          << '\n';
  }
  const auto isUpdate = [](const ResultFile& file) { return file.document.kind == DocumentKind::kUpdate; };
  if (std::any_of(results.files.begin(), results.files.end(), isUpdate)) {
    out << "Revisions in update documents were read before flashing; take an inventory for the new ones.\n";
  }
}

void writeJson(std::ostream& out, const Results& results) {
  nlohmann::ordered_json json;
  json["documents"] = nlohmann::ordered_json::array();
  for (const ResultFile& file : results.files) {
    nlohmann::ordered_json records = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < file.document.records.size(); ++i)
      records.push_back(jsonOf({&file, &file.document.records[i], i + 1}));
    json["documents"].push_back({{"document", file.source},
                                 {"kind", kindName(file.document.kind)},
                                 {"wellFormed", file.notWellFormed.empty()},
                                 {"rebootRequired", file.document.rebootRequired},
                                 {"records", records}});
  }
  json["unreadable"] = nlohmann::ordered_json::array();
  for (const UnreadableFile& file : results.unreadable) {
    json["unreadable"].push_back({{"document", file.source}, {"problem", file.problem}});
  }
  const ResultSummary summary = summarize(results);
  json["summary"] = {{"documents", results.files.size()},
                     {"records", summary.records},
                     {"failed", summary.failed()},
                     {"unreadable", results.unreadable.size()}};
  // A file name may be anything; bytes that are no UTF-8 become replacement characters.
  out << json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

void writeCsv(std::ostream& out, const Results& results) {
  const std::vector<ResultRow> rows = rowsOf(results);
  const auto line = [&out](const std::string& first, const std::string& second,
                           const nlohmann::ordered_json& fields, bool titles) {
    out << csvField(first) << ',' << csvField(second);
    for (const auto& [name, value] : fields.items())
      out << ',' << csvField(titles ? nlohmann::ordered_json(name) : value);
    out << "\r\n";
  };
  const ResultFile noFile{};
  const Record noRecord;
  line("document", "kind", jsonOf({&noFile, &noRecord, 0}), true);
  for (const ResultRow& row : rows)
    line(row.file->source, kindName(row.file->document.kind), jsonOf(row), false);
}

}  // namespace tool
