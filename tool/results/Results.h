// The documents of many servers read together.

#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Document.h"

namespace tool {

/// A document that was read.
struct ResultFile {
  std::string source;  ///< as it was named on the command line, or "standard input"
  Document document;

  /// Why it is not well-formed, with line and column; it was read all the same, since the form in which
  /// nvmepcissd writes allows only one reading. Empty for a well-formed document.
  std::string notWellFormed{};
};

/// A document that could not be read, and why, with line and column where there are any.
struct UnreadableFile {
  std::string source;
  std::string problem;
};

struct Results {
  std::vector<ResultFile> files;
  std::vector<UnreadableFile> unreadable;
};

/// Reads every document, "-" from standard input; one that cannot be read does not keep the others from being
/// shown.
Results readResults(const std::vector<std::string>& sources);

/// A record and where it comes from.
struct ResultRow {
  const ResultFile* file;
  const Record* record;
  std::size_t position;  ///< in its document, from 1
};

/// All records, failed ones first and otherwise in the order of the documents. They point into `results`.
std::vector<ResultRow> rowsOf(const Results& results);

/// What all documents come to.
struct ResultSummary {
  std::size_t records = 0;
  std::map<Outcome, std::size_t> outcomes{};  ///< all three, zeros included

  /// Of the records that did not fail, without blanks around them, most frequent first.
  std::vector<std::pair<std::string, std::size_t>> revisions{};
  std::vector<std::string> reboots{};  ///< the documents that ask for one

  std::size_t failed() const { return outcomes.at(Outcome::kFailed); }
};

ResultSummary summarize(const Results& results);

}  // namespace tool
