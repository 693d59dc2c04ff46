// Result documents as text: a table for a person, JSON and CSV for programs.

#pragma once

#include <iosfwd>

#include "Results.h"

namespace tool {

/// An aligned table, failed records first, and a summary line; in colour when `colour` is set. Columns
/// without a value in any row are left out. Control characters in values are shown as dots.
void writeTable(std::ostream& out, const Results& results, bool colour);

/// One object: the documents with their records, those that could not be read, and the summary's numbers.
void writeJson(std::ostream& out, const Results& results);

/// A header line and one line a record, failed ones first, as in RFC 4180.
void writeCsv(std::ostream& out, const Results& results);

}  // namespace tool
