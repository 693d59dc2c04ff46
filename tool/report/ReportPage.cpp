#include "ReportPage.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "DataTable.h"
#include "EmbeddedTexts.h"
#include "Fleet.h"
#include "ResultText.h"

namespace tool {

namespace {

/// Bars, models or revisions beyond these numbers are added up in a last one.
constexpr std::size_t kMostBars = 12;
constexpr std::size_t kMostModels = 40;
constexpr std::size_t kMostRevisions = 8;

using Counts = std::vector<std::pair<std::string, std::size_t>>;

/// The `most` most frequent texts; the last one stands for all others.
Counts mostFrequent(const std::map<std::string, std::size_t>& counts, std::size_t most) {
  Counts sorted(counts.begin(), counts.end());
  // Texts that are equally frequent keep the order of the map, by letter: the same input gives the same page.
  std::stable_sort(sorted.begin(), sorted.end(),
                   [](const auto& left, const auto& right) { return left.second > right.second; });
  if (sorted.size() <= most) return sorted;
  std::size_t others = 0;
  for (std::size_t i = most - 1; i < sorted.size(); ++i) others += sorted[i].second;
  sorted.resize(most - 1);
  sorted.emplace_back("others", others);
  return sorted;
}

std::string listText(const std::map<std::string, std::size_t>& counts) {
  std::string text;
  for (const auto& [what, count] : mostFrequent(counts, kMostBars))
    text += (text.empty() ? "" : ", ") + what + " × " + std::to_string(count);
  return text;
}

const char* styleOf(Outcome outcome) {
  switch (toneOf(outcome)) {
    case Tone::kGood:
      return "good";
    case Tone::kNeutral:
      return "";
    case Tone::kWarning:
      return "warning";
    case Tone::kBad:
      break;
  }
  return "bad";
}

/// Model by revision: how many drives of each model run, or ran, each revision.
struct Matrix {
  std::map<std::string, std::map<std::string, std::size_t>> models{};
  std::map<std::string, std::size_t> revisions{};
  std::map<std::string, std::size_t> sums{};  ///< of the models

  void add(const DriveState& drive) {
    // Without a name, the PCI ids still tell models apart.
    const std::string model = drive.name.empty() ? drive.pci.empty() ? "unknown" : drive.pci : drive.name;
    const std::string revision = drive.revision.empty() ? "unknown" : drive.revision;
    ++models[model][revision];
    ++revisions[revision];
    ++sums[model];
  }
};

/// All figures of the page.
struct Totals {
  std::size_t drives = 0;
  std::size_t failures = 0;
  std::map<Outcome, std::size_t> outcomes{};
  Matrix now{};     ///< drives whose newest revision was read after any update
  Matrix before{};  ///< drives whose only revision was read before an update

  void add(const DriveState& drive) {
    ++drives;
    ++outcomes[drive.outcome];
    failures += isFailure(drive.outcome) ? 1U : 0U;
    (drive.isRevisionOld ? before : now).add(drive);
  }
};

std::string now() {
  const std::time_t time = std::time(nullptr);
  std::tm local{};
  localtime_r(&time, &local);
  std::array<char, 40> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M %z", &local)};
}

void writeTiles(std::ostream& out, const Results& results, const Totals& totals, std::size_t servers) {
  struct Tile {
    const char* label;
    std::size_t number;
    const char* style;
  };
  const std::array<Tile, 5> tiles{
      {{"servers", servers, ""},
       {"drives", totals.drives, totals.drives == 0 ? "warning" : ""},
       {"failures", totals.failures, totals.failures > 0 ? "bad" : ""},
       {"documents", results.files.size(), ""},
       {"unreadable documents", results.unreadable.size(), results.unreadable.empty() ? "" : "bad"}}};
  out << "<ul class=\"tiles\">\n";
  for (const auto& [label, number, style] : tiles)
    out << "<li class=\"" << style << "\"><strong>" << number << "</strong> " << label << "</li>\n";
  out << "</ul>\n";
}

/// A bar as long as its share of `whole`; its number stands beside it, so that no colour or length has to be
/// read.
void writeBar(std::ostream& out, const std::string& label, std::size_t number, std::size_t whole,
              const char* style) {
  out << R"(<div class="bar )" << style << R"("><span class="label">)" << htmlText(label)
      << R"(</span><span class="track"><span class="fill" style="width:)"
      << (whole == 0 ? 0 : (number * 100 + whole / 2) / whole) << R"(%"></span></span><span class="number">)"
      << number << "</span></div>\n";
}

void writeRevisionBars(std::ostream& out, const Matrix& matrix, const char* id, const char* title) {
  std::size_t whole = 0;
  for (const auto& [revision, count] : matrix.revisions) whole += count;
  if (whole == 0) return;
  out << "<section aria-labelledby=\"" << id << "\"><h2 id=\"" << id << "\">" << title << "</h2>\n";
  for (const auto& [revision, count] : mostFrequent(matrix.revisions, kMostBars))
    writeBar(out, revision, count, whole, "");
  out << "</section>\n";
}

void writeCharts(std::ostream& out, const Totals& totals) {
  if (totals.drives == 0) return;
  out << "<div class=\"charts\">\n<section aria-labelledby=\"outcomes\"><h2 id=\"outcomes\">Outcomes</h2>\n";
  for (const auto& [outcome, count] : totals.outcomes)
    writeBar(out, outcomeName(outcome), count, totals.drives, styleOf(outcome));
  out << "</section>\n";
  writeRevisionBars(out, totals.now, "revisions", "Running revisions");
  writeRevisionBars(out, totals.before, "revisions-before",
                    "Revisions before an update, the new ones unknown");
  out << "</div>\n";
}

void writeMatrix(std::ostream& out, const Matrix& matrix, const char* title) {
  if (matrix.models.empty()) return;
  const Counts revisions = mostFrequent(matrix.revisions, kMostRevisions);
  out << "<section class=\"matrix\"><h2>" << title << "</h2>\n<div class=\"wide\"><table>\n"
      << "<thead><tr><th scope=\"col\">Model</th>";
  for (const auto& [revision, count] : revisions)
    out << "<th scope=\"col\">" << htmlText(revision) << "</th>";
  out << "<th scope=\"col\">all</th></tr></thead>\n<tbody>\n";
  for (const auto& [model, sum] : mostFrequent(matrix.sums, kMostModels)) {
    out << "<tr><th scope=\"row\">" << htmlText(model) << "</th>";
    const auto counts = matrix.models.find(model);
    std::size_t left = sum;
    for (const auto& [revision, total] : revisions) {
      // "others" has no counts of its own. Its column gets what the other columns leave.
      const bool isSummedUp = counts == matrix.models.end();
      const auto count =
          isSummedUp ? std::map<std::string, std::size_t>::const_iterator{} : counts->second.find(revision);
      const bool isKnown = !isSummedUp && count != counts->second.end();
      const bool isOthers = revision == "others" && !isSummedUp && !isKnown;
      const std::size_t number = isKnown ? count->second : isOthers ? left : 0;
      left -= number;
      out << "<td>";
      if (number > 0) out << number;
      out << "</td>";
    }
    out << "<td>" << sum << "</td></tr>\n";
  }
  out << "</tbody>\n</table></div></section>\n";
}

std::string documentsText(const Server& server) {
  std::map<std::string, std::size_t> kinds;
  for (const ResultFile* file : server.documents) ++kinds[kindName(file->document.kind)];
  return listText(kinds);
}

DataTable serverTable(const std::vector<Server>& servers) {
  DataTable table("servers", "Servers", "servers",
                  {{"Server", 18},
                   {"Drives", 7},
                   {"Failures", 8},
                   {"Outcomes", 20},
                   {"Running revisions", 20},
                   {"Revisions before an update", 15},
                   {"Documents", 12}});
  for (const Server& server : servers) {
    Totals totals;
    for (const DriveState& drive : server.drives) totals.add(drive);
    table.add({server.name, std::to_string(totals.drives), std::to_string(totals.failures),
               totals.drives == 0 ? "no drives" : outcomesText(totals.outcomes),
               listText(totals.now.revisions), listText(totals.before.revisions), documentsText(server)},
              totals.failures > 0  ? "bad"
              : totals.drives == 0 ? "warning"
                                   : "");
  }
  return table;
}

DataTable driveTable(const std::vector<Server>& servers) {
  DataTable table("drives", "Drives", "drives",
                  {{"Server", 11},
                   {"Outcome", 8},
                   {"Revision", 10},
                   {"Model", 17},
                   {"Serial number", 15},
                   {"PCI ids", 12},
                   {"Message", 14},
                   {"Document", 9},
                   {"#", 4}});
  table.offerChoice(1);
  for (const bool failures : {true, false}) {  // what failed comes first
    for (const Server& server : servers) {
      for (const DriveState& drive : server.drives) {
        if (isFailure(drive.outcome) != failures) continue;
        const bool isOld = drive.isRevisionOld && !drive.revision.empty();
        table.add(
            {server.name, outcomeName(drive.outcome), drive.revision + (isOld ? " before the update" : ""),
             drive.isIdentified ? drive.name : "not identified", drive.serial, drive.pci, drive.message,
             drive.file->source, std::to_string(drive.position)},
            styleOf(drive.outcome));
      }
    }
  }
  return table;
}

DataTable remarkTable(const Results& results) {
  DataTable table("remarks", "Remarks", "remarks", {{"Document", 30}, {"Remark", 70}});
  for (const auto& [source, problem] : results.unreadable)
    table.add({source, problem.substr(0, problem.find('\n'))}, "bad");
  for (const ResultFile& file : results.files) {
    if (file.document.records.empty()) {
      table.add({file.source, noDrivesText(file.document)}, "warning");
    } else {
      for (const std::string& reason : file.document.reasons) table.add({file.source, reason}, "warning");
    }
    if (!file.notWellFormed.empty())
      table.add({file.source, file.notWellFormed + "; " + kReadByForm}, "warning");
    if (file.document.rebootRequired) table.add({file.source, "a reboot is required"}, "");
  }
  return table;
}

void writeHead(std::ostream& out) {
  // The policy forbids every request, so that nothing that a document may have smuggled in can load anything.
  out << kReportStart
      << "<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; style-src 'unsafe-inline'; "
         "script-src 'unsafe-inline'\">\n"
         "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
         "<meta name=\"color-scheme\" content=\"light dark\">\n<title>NVMe firmware report</title>\n<style>\n"
      << kReportStyle << "</style>\n</head>\n<body>\n<header><h1>NVMe firmware report</h1>\n<p>Written "
      << htmlText(now()) << " on " << htmlText(hostName()) << "</p></header>\n<main>\n";
}

}  // namespace

void writeReport(std::ostream& out, const Results& results) {
  const std::vector<Server> servers = serversOf(results);
  Totals totals;
  for (const Server& server : servers) {
    for (const DriveState& drive : server.drives) totals.add(drive);
  }
  writeHead(out);
  writeTiles(out, results, totals, servers.size());
  if (totals.drives == 0) {
    const auto saysWhy = [](const ResultFile& file) { return !file.document.reasons.empty(); };
    out << "<p class=\"note warning\">There are "
        << (std::ranges::any_of(results.files, saysWhy) ? "no drives; the remarks say why" : kNoDrives)
        << ".</p>\n";
  }
  writeCharts(out, totals);
  // Only where it matters: most pages have an inventory after the last update.
  if (!totals.before.models.empty()) out << "<p class=\"note\">" << kRevisionsBefore << "</p>\n";
  if (const DataTable remarks = remarkTable(results); remarks.rows() > 0) remarks.write(out);
  writeMatrix(out, totals.now, "Models by running revision");
  writeMatrix(out, totals.before, "Models by revision before an update");
  serverTable(servers).write(out);
  if (const DataTable drives = driveTable(servers); drives.rows() > 0) drives.write(out);
  // Not part of <main>: the script fills it with the whole texts of a row that was chosen.
  out << "</main>\n<dialog id=\"details\"><form method=\"dialog\"><button>Close</button></form><dl></dl></dialog>\n"
         "<script>\n"
      << kReportScript << "</script>\n</body>\n</html>\n";
}

}  // namespace tool
