#include "ReportPage.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "ReportAssets.h"
#include "TerminalText.h"

namespace tool {

namespace {

/// A browser obeys characters that turn the direction of writing as a terminal does.
std::string escaped(std::string_view value) {
  constexpr std::array<std::pair<char, const char*>, 5> kEntities{
      {{'&', "&amp;"}, {'<', "&lt;"}, {'>', "&gt;"}, {'"', "&quot;"}, {'\'', "&#39;"}}};
  std::string html;
  for (const char c : forTerminal(value)) {
    const auto* const entity =
        std::find_if(kEntities.begin(), kEntities.end(), [c](const auto& pair) { return pair.first == c; });
    if (entity == kEntities.end()) {
      html += c;
    } else {
      html += entity->second;
    }
  }
  return html;
}

std::string orDash(const std::string& text) {
  return text.empty() ? "–" : escaped(text);
}

struct Tile {
  const char* label;
  std::size_t number;
  const char* style;
};

void writeTiles(std::ostream& out, const Results& results, const ResultSummary& summary) {
  const std::array<Tile, 6> tiles{{{"documents", results.files.size(), ""},
                                   {"records", summary.records, ""},
                                   {"listed", summary.outcomes.at(Outcome::kListed), ""},
                                   {"success", summary.outcomes.at(Outcome::kSuccess), "good"},
                                   {"failed", summary.failed(), "bad"},
                                   {"unreadable documents", results.unreadable.size(), "bad"}}};
  out << "<ul class=\"tiles\">\n";
  for (const auto& [label, number, style] : tiles) {
    out << "<li class=\"" << (number > 0 ? style : "") << "\"><strong>" << number << "</strong> " << label
        << "</li>\n";
  }
  out << "</ul>\n";
}

/// A bar as long as its share of `whole`; its number stands beside it, so that no colour or length has to be
/// read.
void writeBar(std::ostream& out, const std::string& label, std::size_t number, std::size_t whole,
              const char* style) {
  out << R"(<div class="bar )" << style << R"("><span class="label">)" << orDash(label)
      << R"(</span><span class="track"><span class="fill" style="width:)"
      << (whole == 0 ? 0 : (number * 100 + whole / 2) / whole) << R"(%"></span></span><span class="number">)"
      << number << "</span></div>\n";
}

/// More bars than these are summed up in a last one.
constexpr std::size_t kBars = 12;

void writeCharts(std::ostream& out, const ResultSummary& summary) {
  const std::size_t known = summary.records - summary.failed();
  out << "<div class=\"charts\">\n<section aria-labelledby=\"outcomes\"><h2 id=\"outcomes\">Outcomes</h2>\n";
  writeBar(out, "listed", summary.outcomes.at(Outcome::kListed), summary.records, "");
  writeBar(out, "success", summary.outcomes.at(Outcome::kSuccess), summary.records, "good");
  writeBar(out, "failed", summary.failed(), summary.records, "bad");
  out << "</section>\n<section aria-labelledby=\"revisions\"><h2 id=\"revisions\">Firmware revisions</h2>\n";
  std::size_t others = 0;
  for (std::size_t i = 0; i < summary.revisions.size(); ++i) {
    const auto& [revision, count] = summary.revisions[i];
    if (i < kBars) {
      writeBar(out, revision, count, known, "");
    } else {
      others += count;
    }
  }
  if (others > 0) writeBar(out, "others", others, known, "");
  if (summary.revisions.empty()) out << "<p>No drive told its revision.</p>\n";
  out << "</section>\n</div>\n";
}

void writeNotes(std::ostream& out, const Results& results, const ResultSummary& summary) {
  for (const UnreadableFile& file : results.unreadable) {
    // The first line says it all; what may follow shows the place, character below character.
    const std::size_t end = file.problem.find('\n');
    out << "<div class=\"note bad\"><p><strong>" << escaped(file.source)
        << "</strong>: " << escaped(file.problem.substr(0, end)) << "</p>";
    if (end != std::string::npos) {
      std::istringstream place(file.problem.substr(end + 1));
      out << "<pre>";
      for (std::string line; std::getline(place, line);) out << escaped(line) << '\n';
      out << "</pre>";
    }
    out << "</div>\n";
  }
  for (const ResultFile& file : results.files) {
    if (!file.notWellFormed.empty())
      out << "<div class=\"note\"><p><strong>" << escaped(file.source)
          << "</strong>: " << escaped(file.notWellFormed)
          << "; read all the same, by the form in which nvmepcissd writes</p></div>\n";
  }
  for (const std::string& source : summary.reboots) {
    out << "<div class=\"note\"><strong>" << escaped(source) << "</strong>: a reboot is required</div>\n";
  }
  const auto isUpdate = [](const ResultFile& file) { return file.document.kind == DocumentKind::kUpdate; };
  if (std::any_of(results.files.begin(), results.files.end(), isUpdate)) {
    out << "<div class=\"note\">Revisions in update documents were read before flashing; take an inventory for the new "
           "ones.</div>\n";
  }
}

void writeTable(std::ostream& out, const std::vector<ResultRow>& rows) {
  constexpr std::array<const char*, 8> kTitles{"Document",      "#",       "Outcome", "Revision", "Name",
                                               "Serial number", "PCI ids", "Message"};
  out << "<div class=\"controls\"><label>Filter <input id=\"filter\" type=\"search\" autocomplete=\"off\"></label>\n"
         "<label>Outcome <select id=\"outcome\"><option value=\"\">all</option><option value=\"listed\">listed</option>"
         "<option value=\"success\">success</option><option value=\"failed\">failed</option></select></label>\n"
         "<output id=\"shown\"></output></div>\n<table id=\"records\">\n<thead><tr>";
  for (const char* const title : kTitles)
    out << R"(<th scope="col"><button type="button">)" << title << "</button></th>";
  out << "</tr></thead>\n<tbody>\n";
  for (const ResultRow& row : rows) {
    const Record& record = *row.record;
    const std::array<std::string, kTitles.size()> cells{row.file->source,
                                                        std::to_string(row.position),
                                                        outcomeName(record.outcome),
                                                        record.revision,
                                                        record.name,
                                                        std::string(record.serialNumber()),
                                                        record.pciText(),
                                                        record.message};
    out << "<tr class=\"" << outcomeName(record.outcome) << "\">";
    for (std::size_t i = 0; i < cells.size(); ++i) {
      out << "<td data-title=\"" << kTitles.at(i) << "\">" << orDash(cells.at(i)) << "</td>";
    }
    out << "</tr>\n";
  }
  out << "</tbody>\n</table>\n";
}

}  // namespace

void writeReport(std::ostream& out, const Results& results) {
  const ResultSummary summary = summarize(results);
  out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
         "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
         "script-src 'unsafe-inline'\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<title>NVMe firmware report</title>\n<style>\n"
      << kReportStyle
      << "</style>\n</head>\n<body>\n<header><h1>NVMe firmware report</h1></header>\n<main>\n";
  writeTiles(out, results, summary);
  writeCharts(out, summary);
  writeNotes(out, results, summary);
  writeTable(out, rowsOf(results));
  out << "</main>\n<script>\n" << kReportScript << "</script>\n</body>\n</html>\n";
}

}  // namespace tool
