#include "Table.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "NaturalOrder.h"
#include "TerminalText.h"

namespace tool {

namespace {

constexpr std::string_view kRed = "\033[31m";
constexpr std::string_view kYellow = "\033[33m";
constexpr std::string_view kBold = "\033[1m";
constexpr std::string_view kPlain = "\033[0m";
constexpr std::size_t kGap = 2;

/// A column, and what happens to it when the table is too wide.
struct Column {
  std::string_view name;
  std::string_view title;
  std::string (*text)(const ResultRow&);
  std::size_t leastWidth;  ///< it may be shortened to this; 0: never shortened
  int leaveOut;            ///< columns with the highest number go first; 0: never left out
  Shorten end;
  bool isLifted = true;  ///< it may move above the table if all its texts are the same
};

constexpr std::array<Column, 10> kColumns{{
    {"document", "DOCUMENT", [](const ResultRow& row) { return row.file->source; }, 16, 1, Shorten::kFront},
    {"position", "#", [](const ResultRow& row) { return std::to_string(row.position); }, 0, 0, Shorten::kBack,
     false},
    {"outcome", "OUTCOME", [](const ResultRow& row) { return std::string(outcomeName(row.record->outcome)); },
     0, 0, Shorten::kBack, false},
    {"revision", "REVISION", [](const ResultRow& row) { return row.record->revision; }, 8, 0, Shorten::kBack},
    {"after", "AFTER", [](const ResultRow& row) { return row.record->newRevision; }, 8, 0, Shorten::kBack,
     false},
    {"name", "NAME", [](const ResultRow& row) { return row.record->name; }, 12, 3, Shorten::kBack},
    {"serial", "SERIAL NUMBER", [](const ResultRow& row) { return std::string(row.record->serialNumber()); },
     20, 0, Shorten::kBack},
    {"pci", "PCI IDS", [](const ResultRow& row) { return row.record->pciText(); }, 0, 4, Shorten::kBack},
    {"component", "COMPONENT", [](const ResultRow& row) { return row.record->componentId; }, 12, 2,
     Shorten::kBack},
    {"message", "MESSAGE", [](const ResultRow& row) { return row.record->message; }, 12, 0, Shorten::kBack},
}};

const Column& columnNamed(const std::string& name) {
  const auto* const found = std::find_if(kColumns.begin(), kColumns.end(),
                                         [&name](const Column& column) { return column.name == name; });
  if (found == kColumns.end()) throw std::invalid_argument("no column is called " + name);
  return *found;
}

/// A column with its texts, ready to be printed.
struct Cells {
  const Column* column = nullptr;
  std::vector<std::string> texts{};
  std::size_t naturalWidth = 0;  ///< of the widest text
  std::size_t width = 0;         ///< to be shown in
};

Cells cellsOf(const Column& column, const std::vector<ResultRow>& rows) {
  Cells cells{.column = &column};
  cells.texts.reserve(rows.size());
  for (const ResultRow& row : rows)
    cells.naturalWidth =
        std::max(cells.naturalWidth, terminalWidth(cells.texts.emplace_back(forTerminal(column.text(row)))));
  return cells;
}

class Table {
 public:
  Table(const std::vector<ResultRow>& rows, const TableLayout& layout) : m_rows(rows), m_layout(layout) {
    for (const Column& column : kColumns) {
      if (!layout.columns.empty()) break;
      Cells cells = cellsOf(column, rows);
      // A column without any text says nothing.
      if (cells.naturalWidth > 0) m_columns.push_back(std::move(cells));
    }
    for (const std::string& name : layout.columns) m_columns.push_back(cellsOf(columnNamed(name), rows));
    for (Cells& cells : m_columns)
      cells.width = cells.naturalWidth = std::max(cells.naturalWidth, cells.column->title.size());
    fit();
  }

  void write(std::ostream& out) const {
    if (!m_common.empty()) out << "The same in every record that has it: " << m_common << "\n\n";
    writeLine(out, kBold, [](const Cells& cells) { return std::string(cells.column->title); });
    for (std::size_t i = 0; i < m_rows.size(); ++i)
      writeLine(out, colourOf(*m_rows[i].record), [i](const Cells& cells) { return cells.texts[i]; });
    if (m_isShortened || !m_leftOut.empty()) out << '\n';
    if (m_isShortened) out << "Texts with ... are shortened; --full shows them.\n";
    if (!m_leftOut.empty()) out << "Left out: " << m_leftOut << "; --full shows them.\n";
  }

 private:
  std::size_t width() const {
    return std::accumulate(m_columns.begin(), m_columns.end(), std::size_t{0},
                           [](std::size_t sum, const Cells& cells) { return sum + cells.width + kGap; }) -
           kGap;
  }

  std::size_t excess() const {
    const std::size_t available = m_layout.terminal.columns;
    if (available == 0 || m_layout.full) return 0;
    return width() - std::min(width(), available);
  }

  void fit() {
    const bool isChosen = !m_layout.columns.empty();
    if (!isChosen && excess() > 0) liftCommon();
    for (;;) {
      for (Cells& cells : m_columns) cells.width = cells.naturalWidth;
      shorten();
      if (isChosen || excess() == 0 || !leaveOneOut()) break;
    }
    for (Cells& cells : m_columns) {
      for (std::string& text : cells.texts) {
        if (terminalWidth(text) <= cells.width) continue;
        text = shortened(text, cells.width, cells.column->end);
        m_isShortened = true;
      }
    }
  }

  /// Moves columns whose texts are all the same above the table. The outcome and the number stay, so that a
  /// table remains.
  void liftCommon() {
    std::erase_if(m_columns, [this](const Cells& cells) {
      const std::string* common = commonText(cells.texts);
      if (common == nullptr || !cells.column->isLifted) return false;
      m_common += (m_common.empty() ? "" : "; ") + std::string(cells.column->title) + " " + *common;
      return true;
    });
  }

  /// The text that all cells share, if several have it; empty cells do not count. Otherwise null.
  static const std::string* commonText(const std::vector<std::string>& texts) {
    const std::string* common = nullptr;
    std::size_t count = 0;
    for (const std::string& text : texts) {
      if (text.empty()) continue;
      if (count++ > 0 && text != *common) return nullptr;
      common = &text;
    }
    return count > 1 ? common : nullptr;
  }

  /// Narrows the column with the most room to spare, again and again, until the table fits or no column has
  /// room left.
  void shorten() {
    const auto spare = [](const Cells& cells) {
      const std::size_t least = std::max(cells.column->leastWidth, cells.column->title.size());
      return cells.column->leastWidth == 0 ? 0 : cells.width - std::min(cells.width, least);
    };
    for (std::size_t left = excess(); left > 0; left = excess()) {
      const auto widest =
          std::max_element(m_columns.begin(), m_columns.end(),
                           [&](const Cells& a, const Cells& b) { return spare(a) < spare(b); });
      if (spare(*widest) == 0) return;
      // One by one, so that several long columns end up equally wide.
      --widest->width;
    }
  }

  bool leaveOneOut() {
    const auto first = std::max_element(
        m_columns.begin(), m_columns.end(),
        [](const Cells& a, const Cells& b) { return a.column->leaveOut < b.column->leaveOut; });
    if (first->column->leaveOut == 0) return false;
    m_leftOut += (m_leftOut.empty() ? "" : ", ") + std::string(first->column->title);
    m_columns.erase(first);
    return true;
  }

  std::string_view colourOf(const Record& record) const {
    switch (toneOf(record.outcome)) {
      case Tone::kBad:
        return kRed;
      case Tone::kWarning:
        return kYellow;
      default:
        return {};
    }
  }

  template <class Text>
  void writeLine(std::ostream& out, std::string_view colour, Text textOf) const {
    std::string line;
    for (const Cells& cells : m_columns) {
      const std::string text = textOf(cells);
      line += text;
      line.append(cells.width - std::min(cells.width, terminalWidth(text)) + kGap, ' ');
    }
    // Blanks at the end would wrap a line that just fits.
    line.erase(line.find_last_not_of(' ') + 1);
    const bool isColoured = m_layout.terminal.colour && !colour.empty();
    if (isColoured) out << colour;
    out << line << (isColoured ? kPlain : "") << '\n';
  }

  const std::vector<ResultRow>& m_rows;
  const TableLayout& m_layout;
  std::vector<Cells> m_columns;
  std::string m_common;   ///< the line above the table; empty for none
  std::string m_leftOut;  ///< titles
  bool m_isShortened = false;
};

}  // namespace

std::span<const std::string> columnNames() {
  static const std::vector<std::string> kNames = [] {
    std::vector<std::string> names;
    names.reserve(kColumns.size());
    for (const Column& column : kColumns) names.emplace_back(column.name);
    return names;
  }();
  return kNames;
}

void sortBy(const std::string& column, std::vector<ResultRow>& rows) {
  const auto textOf = columnNamed(column).text;
  // Each key is made once, not at every comparison.
  std::vector<std::pair<std::string, ResultRow>> keyed;
  keyed.reserve(rows.size());
  for (const ResultRow& row : rows) keyed.emplace_back(textOf(row), row);
  std::stable_sort(keyed.begin(), keyed.end(), [](const auto& left, const auto& right) {
    return naturallyLess(left.first, right.first);
  });
  for (std::size_t i = 0; i < rows.size(); ++i) rows[i] = keyed[i].second;
}

void writeTable(std::ostream& out, const std::vector<ResultRow>& rows, const TableLayout& layout) {
  if (!rows.empty()) Table(rows, layout).write(out);
}

}  // namespace tool
