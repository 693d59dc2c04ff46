// Result documents as text: a table for a person, JSON and CSV for programs.

#pragma once

#include <iosfwd>

#include "Results.h"
#include "Terminal.h"

namespace tool {

/// One line for each document that could not be read.
void complain(std::ostream& out, const Results& results);

/// An aligned table, failed records first, and a summary line. Columns without a value in any row are left
/// out. Where the columns do not fit the terminal, every record is a block of lines instead. What a terminal
/// would obey is shown as dots.
void writeTable(std::ostream& out, const Results& results, const Terminal& terminal);

/// One object: the documents with their records, those that could not be read, and the summary's numbers.
void writeJson(std::ostream& out, const Results& results);

/// A header line and one line a record, failed ones first, as in RFC 4180. A text that begins like a formula
/// of a spreadsheet has a ' before it.
void writeCsv(std::ostream& out, const Results& results);

}  // namespace tool
