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

/// Sorts rows by the column of that name, with numbers in texts compared by value. Equal rows keep their
/// order.
void sortBy(const std::string& column, std::vector<ResultRow>& rows);

struct TableLayout {
  Terminal terminal{};
  std::vector<std::string> columns{};  ///< which ones, in this order; empty: all that have a value
  bool full = false;                   ///< shorten and leave out nothing, however wide the table becomes
};

/// Writes a line of titles and one line per record; writes nothing if there are no rows. Control characters
/// are shown as dots.
///
/// A table that is too wide for the terminal is made narrower, in this order and only as far as needed: a
/// column whose texts are all the same becomes a line above the table; long texts are shortened, with "..."
/// at their end or, for file names, at their start; columns are left out, and a line below names them.
/// Columns that the user asked for are shortened but never left out.
void writeTable(std::ostream& out, const std::vector<ResultRow>& rows, const TableLayout& layout);

}  // namespace tool
