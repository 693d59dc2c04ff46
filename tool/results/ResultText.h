// Results as text: sentences for a person, JSON and CSV for programs.

#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "Results.h"

namespace tool {

/// One line for each document that could not be read, with a second and a third that show the place.
void complain(std::ostream& out, const Results& results);

/// The totals of all documents, for example "2 documents, 6 records: 5 success, 1 failed", and a line for
/// whatever else a reader has to know: documents without drives, documents that are not well-formed. Red when
/// something failed, yellow for doubts, else green.
void writeSummary(std::ostream& out, const Results& results, bool colour);

/// One object: the documents with their records, those that could not be read, and the summary's numbers,
/// which count all records. `failuresOnly` leaves out the other records.
void writeJson(std::ostream& out, const Results& results, bool failuresOnly);

/// A header line and one line per record, as in RFC 4180. A text that a spreadsheet would take for a formula
/// gets a ' in front of it.
void writeCsv(std::ostream& out, const std::vector<ResultRow>& rows);

/// For example "3 drives".
std::string counted(std::size_t count, const std::string& what);

/// For example "5 success, 1 failed". Failures are always mentioned, other outcomes only if there are any.
std::string outcomesText(const std::map<Outcome, std::size_t>& outcomes);

}  // namespace tool
