// Records as a table for a person.

#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

#include "Results.h"
#include "TerminalText.h"

namespace tool {

/// The names of the table's columns, for --columns and --sort.
std::span<const std::string> columnNames();

/// Sorts rows by a column of that name, numbers in texts by their value. Rows that are equal there keep their
/// order.
void sortBy(const std::string& column, std::vector<ResultRow>& rows);

struct TableLayout {
  Terminal terminal{};
  std::vector<std::string> columns{};  ///< which ones, in this order; empty: all that have a value
  bool full = false;                   ///< shorten and leave out nothing, however wide the table becomes
};

/// One line a record below a line of titles, and nothing without rows. What a terminal would obey is shown as
/// dots.
///
/// Where that does not fit the terminal, in this order and as far as needed: columns with one and the same
/// text become a line above the table; long texts are shortened, ending or (file names) beginning with "...";
/// columns are left out, and a line below says which. Columns that were asked for are only ever shortened.
void writeTable(std::ostream& out, const std::vector<ResultRow>& rows, const TableLayout& layout);

}  // namespace tool
