#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// A text as HTML. Control characters, and those that change the direction of writing, become dots: browsers
/// obey them just as terminals do.
std::string htmlText(std::string_view value);

/// A table of the report page. report.js draws the rows that are in view from data beside the table, so that
/// the page can have any number of rows. The first rows are also in the page itself, for readers without
/// scripts.
///
/// In the data, a column is the list of its distinct texts in natural order and, for each row, a place in
/// that list: to sort is to compare numbers, and to filter is to look at each distinct text once.
class DataTable {
 public:
  struct Column {
    std::string title;
    std::size_t share;  ///< of the table's width, in percent; together 100
    std::vector<std::string> texts{};
  };

  /// `id` is the table's id in the page; `what` says what its rows are, for example "drives".
  DataTable(std::string id, std::string title, std::string what, std::vector<Column> columns);

  /// Adds a row. `style` is a class of the style sheet, "" for none.
  void add(std::vector<std::string> texts, std::string_view style);

  /// Adds a drop-down list with the texts of this column.
  void offerChoice(std::size_t column) { m_choice = column; }

  std::size_t rows() const { return m_styles.size(); }

  void write(std::ostream& out) const;

 private:
  void writeControls(std::ostream& out) const;
  void writeFirstRows(std::ostream& out) const;
  void writeData(std::ostream& out) const;

  std::string m_id;
  std::string m_title;
  std::string m_what;
  std::vector<Column> m_columns;
  std::vector<std::string> m_styles;
  std::size_t m_choice;  ///< as many as there are columns for none
};

}  // namespace tool
