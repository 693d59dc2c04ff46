#include "VerdictText.h"

#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <numeric>
#include <ostream>
#include <sstream>
#include <string_view>
#include <utility>
#include <vector>

#include "TerminalText.h"

namespace tool {

namespace {

constexpr std::size_t kColumns = 80;  // where nothing else is known

constexpr std::array kHeadings{"SERIAL", "NAME", "BEFORE", "NOW", "STATE"};
using Row = std::array<std::string, kHeadings.size()>;

Row rowOf(const DriveVerdict& drive) {
  const auto shown = [](const std::optional<std::string>& text) { return text ? forTerminal(*text) : "-"; };
  return {shown(drive.serial), shown(drive.name), shown(drive.before), shown(drive.after),
          outcomeName(drive.state)};
}

const char* colourOf(Outcome state) {
  switch (toneOf(state)) {
    case Tone::kGood:
      return "\033[32m";
    case Tone::kBad:
      return "\033[31m";
    case Tone::kNeutral:
    case Tone::kWarning:
      break;
  }
  return "\033[33m";
}

using Widths = std::array<std::size_t, kHeadings.size()>;

constexpr std::size_t kGap = 2;  // between columns

/// As wide as the longest text of each column; where that is more than `most` in all, the widest columns give
/// way.
Widths widthsOf(const std::vector<Row>& rows, std::size_t most) {
  Widths widths{};
  for (const Row& row : rows) {
    for (std::size_t i = 0; i < row.size(); ++i)
      widths.at(i) = std::max(widths.at(i), terminalWidth(row.at(i)));
  }
  const std::size_t room = most - kGap * (widths.size() - 1);
  while (std::accumulate(widths.begin(), widths.end(), std::size_t{0}) > room)
    --*std::max_element(widths.begin(), widths.end());
  return widths;
}

/// All cells but the last, which may be coloured.
void writeRow(std::ostream& out, const Row& row, const Widths& widths) {
  for (std::size_t i = 0; i + 1 < row.size(); ++i) {
    const std::string cell = shortened(row.at(i), widths.at(i), Shorten::kBack);
    out << cell << std::string(widths.at(i) - terminalWidth(cell) + kGap, ' ');
  }
}

void writeTable(std::ostream& out, const std::vector<DriveVerdict>& drives, const Terminal& terminal) {
  Row headings;
  std::copy(kHeadings.begin(), kHeadings.end(), headings.begin());
  std::vector<Row> rows{headings};
  for (const DriveVerdict& drive : drives) rows.push_back(rowOf(drive));
  const Widths widths = widthsOf(rows, std::max(terminal.columns, kColumns));
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const bool coloured = terminal.colour && i > 0;
    writeRow(out, rows[i], widths);
    out << (coloured ? colourOf(drives[i - 1].state) : "") << rows[i].back() << (coloured ? "\033[0m" : "")
        << '\n';
  }
}

struct CountedReason {
  Outcome state;
  std::string reason;
  std::size_t count;
};

/// Many drives have one reason, which is shown once. In the order of the drives.
std::vector<CountedReason> distinctReasons(const std::vector<DriveVerdict>& drives) {
  std::vector<CountedReason> reasons;
  std::map<std::pair<Outcome, std::string>, std::size_t> places;
  for (const DriveVerdict& drive : drives) {
    if (drive.reason.empty()) continue;
    const auto [place, isNew] = places.try_emplace({drive.state, drive.reason}, reasons.size());
    if (isNew) reasons.push_back({drive.state, drive.reason, 0});
    ++reasons[place->second].count;
  }
  return reasons;
}

/// One paragraph in lines of at most 80 columns, the later ones indented; a longer word is not broken.
void writeWrapped(std::ostream& out, const std::string& text) {
  constexpr std::string_view kIndent = "    ";
  std::istringstream words(forTerminal(text));
  std::size_t column = 0;
  for (std::string word; words >> word;) {
    const std::size_t width = terminalWidth(word);
    if (column > 0 && column + 1 + width > kColumns) {
      out << '\n' << kIndent;
      column = kIndent.size();
    } else if (column > 0) {
      out << ' ';
      ++column;
    }
    out << word;
    column += width;
  }
  out << '\n';
}

}  // namespace

std::string sentence(const Verdict& verdict) {
  std::map<Outcome, std::size_t> counts;
  for (const DriveVerdict& drive : verdict.drives) ++counts[drive.state];
  const std::size_t total = verdict.drives.size();
  if (total == 0) return "No drives: nothing can be said.";
  std::string text = std::to_string(total) + (total == 1 ? " drive: " : " drives: ");
  const char* separator = "";
  for (const auto& [state, count] : counts) {
    text += separator + std::to_string(count) + " " + outcomeName(state);
    separator = ", ";
  }
  return text + ".";
}

void writeVerdict(std::ostream& out, const Verdict& verdict, const Terminal& terminal) {
  if (!verdict.drives.empty()) writeTable(out, verdict.drives, terminal);
  for (const auto& [state, reason, count] : distinctReasons(verdict.drives)) {
    const std::string subject =
        std::string(outcomeName(state)) + (count > 1 ? " (" + std::to_string(count) + "): " : ": ");
    writeWrapped(out, subject + reason);
  }
  for (const std::string& reason : verdict.reasons) writeWrapped(out, "note: " + reason);
  out << sentence(verdict) << '\n';
}

int answer(const Verdict& verdict, bool isJson) {
  if (isJson) {
    std::cout << toJson(verdict);
  } else {
    writeVerdict(std::cout, verdict, standardOutputTerminal());
  }
  return exitStatusOf(verdict.outcome);
}

}  // namespace tool
