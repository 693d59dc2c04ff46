// A result document or a verdict, read by the tool and written again as table, JSON, CSV and page.

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <string_view>

#include "DocumentReader.h"
#include "FuzzSupport.h"
#include "ReportPage.h"
#include "ResultText.h"
#include "Results.h"
#include "Salvage.h"
#include "Table.h"

namespace {

/// Free of what an XML parser changes or ends a value at.
bool isPlain(const std::string& text) {
  return text.find_first_of("<&\"\t\r\n") == std::string::npos;
}

bool isPlain(const tool::Record& record) {
  return isPlain(record.componentId) && isPlain(record.name) && isPlain(record.enumId) &&
         isPlain(record.componentType) && isPlain(record.revision) && isPlain(record.message);
}

/// Where a document is well-formed and has the writer's form, both ways of reading it agree.
void checkBothReadings(const std::string& content, const tool::Reading& reading) {
  const tool::Salvage salvaged = tool::salvage(content);
  PROMISE(salvaged.document.has_value() == salvaged.refusal.empty());
  if (!salvaged.document || !reading.document) return;
  PROMISE(salvaged.document->kind == reading.document->kind);
  const auto& records = salvaged.document->records;
  if (std::all_of(records.begin(), records.end(), [](const auto& record) { return isPlain(record); })) {
    PROMISE(records == reading.document->records);
    PROMISE(salvaged.document->rebootRequired == reading.document->rebootRequired);
  }
}

template <class Writer>
std::string textOf(Writer write) {
  std::ostringstream stream;
  write(stream);
  return stream.str();
}

/// Rows of an RFC 4180 text, each with its number of fields. No field may look like a formula.
std::vector<std::size_t> csvRows(std::string_view csv) {
  std::vector<std::size_t> rows;
  bool isQuoted = false;
  bool isStart = true;
  std::size_t fields = 1;
  for (const char c : csv) {
    if (c == '\r' && !isQuoted) continue;  // of the line break
    PROMISE(!isStart || std::string_view("=+-@\t\r").find(c) == std::string_view::npos);
    isStart = (isStart && c == '"') || (!isQuoted && (c == ',' || c == '\n'));
    if (c == '"') isQuoted = !isQuoted;
    if (isQuoted || c == '"') continue;
    if (c == ',') ++fields;
    if (c != '\n') continue;
    rows.push_back(fields);
    fields = 1;
  }
  PROMISE(!isQuoted && fields == 1);
  return rows;
}

std::size_t count(std::string_view text, std::string_view part) {
  std::size_t found = 0;
  for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + 1)) ++found;
  return found;
}

/// No value becomes a script: besides the tables' data, which are JSON, there are those of an empty page.
void checkPage(std::string_view page) {
  static const std::string kEmptyPage = textOf([](auto& out) { tool::writeReport(out, {}); });
  constexpr std::string_view kData = "<script type=\"application/json\">";
  constexpr std::string_view kEnd = "</script>";
  PROMISE(count(page, "<script") - count(page, kData) ==
          count(kEmptyPage, "<script") - count(kEmptyPage, kData));
  PROMISE(count(page, "<script") == count(page, "</script") && count(page, "</script") == count(page, kEnd));
  for (std::size_t at = page.find(kData); at != page.npos; at = page.find(kData, at + 1)) {
    const std::string_view data = page.substr(at + kData.size());
    PROMISE(nlohmann::json::accept(data.substr(0, data.find(kEnd))));
  }
}

void checkTexts(const tool::Results& results, std::size_t records) {
  for (const bool failuresOnly : {false, true}) {
    PROMISE(nlohmann::json::accept(textOf([&](auto& out) { tool::writeJson(out, results, failuresOnly); })));
  }

  const std::vector<tool::ResultRow> found = tool::rowsOf(results);
  PROMISE(found.size() == records);
  const auto rows = csvRows(textOf([&](auto& out) { tool::writeCsv(out, found); }));
  PROMISE(rows.size() == records + 1);
  PROMISE(std::all_of(rows.begin(), rows.end(), [&rows](std::size_t row) { return row == rows.front(); }));

  const std::string table = textOf([&](auto& out) {
    tool::writeTable(out, found, {.terminal = {.columns = 80}});
    tool::writeSummary(out, results, false);
  });
  PROMISE(std::all_of(table.begin(), table.end(), [](char c) {
    return c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7f');
  }));

  checkPage(textOf([&](auto& out) { tool::writeReport(out, results); }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Scratch::enter().write("document.xml", {data, size});
  const std::string content(data, data + size);
  const tool::Reading reading = tool::readDocument(content);
  PROMISE(reading.document.has_value() || !reading.problem.empty());
  checkBothReadings(content, reading);

  const tool::Results results = tool::readResults({"document.xml"});
  PROMISE(results.files.size() + results.unreadable.size() == 1);
  const std::size_t records = reading.document ? reading.document->records.size() : 0;
  const tool::ResultSummary summary = tool::summarize(results);
  PROMISE(summary.records == records && summary.failures <= records);
  checkTexts(results, records);
  return 0;
}
