#include "ResultText.h"

#include <algorithm>
#include <array>
#include <functional>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string_view>

namespace tool {

namespace {

constexpr char kRed[] = "\033[31m";
constexpr char kGreen[] = "\033[32m";
constexpr char kBold[] = "\033[1m";
constexpr char kPlain[] = "\033[0m";

/// C0 and C1 control characters (which begin terminal commands) as dots; `text` is UTF-8.
std::string withoutControls(const std::string& text) {
  std::string shown;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const bool isC1 = byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
    if (isC1) ++i;
    shown += isC1 || byte < 0x20 || byte == 0x7F ? '.' : text[i];
  }
  return shown;
}

/// The number of characters, which begin at every byte but a continuation byte of UTF-8.
std::size_t width(const std::string& text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](unsigned char byte) { return (byte & 0xC0U) != 0x80U; }));
}

struct Column {
  const char* title;
  std::function<std::string(const ResultRow&)> text;
};

const std::array<Column, 9>& tableColumns() {
  static const std::array<Column, 9> kColumns{{
      {"DOCUMENT", [](const ResultRow& row) { return row.file->source; }},
      {"#", [](const ResultRow& row) { return std::to_string(row.position); }},
      {"OUTCOME", outcomeName},
      {"REVISION", [](const ResultRow& row) { return row.record->getVersion(); }},
      {"NAME", [](const ResultRow& row) { return row.record->getDeviceName(); }},
      {"SERIAL NUMBER", [](const ResultRow& row) { return serialNumber(*row.record); }},
      {"PCI IDS", [](const ResultRow& row) { return pciIds(*row.record); }},
      {"COMPONENT", [](const ResultRow& row) { return row.record->getComponentID(); }},
      {"MESSAGE", [](const ResultRow& row) { return row.record->getErrorMsg(); }},
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
      cells.width = std::max(cells.width, width(cells.texts.emplace_back(withoutControls(column.text(row)))));
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
    line += text + std::string(column.width - width(text) + 2, ' ');
  }
  out << line.substr(0, line.find_last_not_of(' ') + 1);
}

std::string counted(std::size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// As "2 documents, 6 records: 5 fine, 1 failed", and more where there is more to say.
std::string summaryText(const Results& results) {
  const ResultSummary summary = summarize(results);
  std::string text = counted(results.files.size(), "document") + ", " + counted(summary.records, "record") +
                     ": " + std::to_string(summary.records - summary.failed) + " fine, " +
                     std::to_string(summary.failed) + " failed";
  if (!results.unreadable.empty())
    text += "; " + counted(results.unreadable.size(), "document") + " unreadable";
  std::string revisions;
  for (const auto& [revision, count] : summary.revisions) {
    revisions += (revisions.empty() ? "; revisions " : ", ") +
                 withoutControls(revision.empty() ? "(none)" : revision) + " x " + std::to_string(count);
  }
  text += revisions;
  if (!summary.reboots.empty()) text += "; reboot required in " + counted(summary.reboots.size(), "document");
  return text;
}

nlohmann::ordered_json jsonOf(const ResultRow& row) {
  const CDeviceInfo& record = *row.record;
  const SPCIInfo pci = record.getPCIInfo();
  return {{"position", row.position},
          {"failed", isFailed(record)},
          {"messageId", record.getMessageID()},
          {"message", record.getErrorMsg()},
          {"name", record.getDeviceName()},
          {"componentId", record.getComponentID()},
          {"vendorId", pci.vendorID},
          {"deviceId", pci.deviceID},
          {"subVendorId", pci.subVendorID},
          {"subDeviceId", pci.subDeviceID},
          {"enum", record.getEnumId()},
          {"serialNumber", serialNumber(record)},
          {"componentType", record.getComponentType()},
          {"revision", record.getVersion()}};
}

std::string csvField(const nlohmann::ordered_json& value) {
  std::string text = value.is_string() ? value.get<std::string>() : value.dump();
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  for (std::size_t place = 0; (place = text.find('"', place)) != std::string::npos; place += 2)
    text.insert(place, 1, '"');
  return '"' + text + '"';
}

}  // namespace

void writeTable(std::ostream& out, const Results& results, bool colour) {
  const auto paint = [&](const char* code) { return colour ? code : ""; };
  const std::vector<ResultRow> rows = rowsOf(results);
  const std::vector<Cells> columns = cellsOf(rows);
  if (!rows.empty()) {
    out << paint(kBold);
    writeLine(out, columns, [](const Cells& column) { return column.title; });
    out << paint(kPlain) << '\n';
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const bool failed = isFailed(*rows[i].record);
    out << paint(failed ? kRed : "");
    writeLine(out, columns, [i](const Cells& column) { return column.texts[i]; });
    out << paint(failed ? kPlain : "") << '\n';
  }
  if (!rows.empty()) out << '\n';
  const bool anyFailed = summarize(results).failed > 0 || !results.unreadable.empty();
  out << paint(anyFailed ? kRed : kGreen) << summaryText(results) << paint(kPlain) << '\n';
  const auto isUpdate = [](const ResultFile& file) { return file.kind == DocumentKind::kUpdate; };
  if (std::any_of(results.files.begin(), results.files.end(), isUpdate)) {
    out << "Revisions in update documents were read before flashing; take an inventory for the new ones.\n";
  }
}

void writeJson(std::ostream& out, const Results& results) {
  nlohmann::ordered_json json;
  json["documents"] = nlohmann::ordered_json::array();
  for (const ResultFile& file : results.files) {
    nlohmann::ordered_json records = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < file.records.size(); ++i)
      records.push_back(jsonOf({&file, &file.records[i], i + 1}));
    json["documents"].push_back({{"document", file.source},
                                 {"kind", kindName(file.kind)},
                                 {"rebootRequired", file.rebootRequired},
                                 {"records", records}});
  }
  json["unreadable"] = nlohmann::ordered_json::array();
  for (const UnreadableFile& file : results.unreadable) {
    json["unreadable"].push_back({{"document", file.source}, {"problem", file.problem}});
  }
  const ResultSummary summary = summarize(results);
  json["summary"] = {{"documents", results.files.size()},
                     {"records", summary.records},
                     {"failed", summary.failed},
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
  const ResultFile noFile;
  const CDeviceInfo noRecord;
  line("document", "kind", jsonOf({&noFile, &noRecord, 0}), true);
  for (const ResultRow& row : rows) line(row.file->source, kindName(row.file->kind), jsonOf(row), false);
}

}  // namespace tool
