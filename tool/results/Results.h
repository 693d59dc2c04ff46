// The documents of many servers read together.

#pragma once

#include <ctime>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Document.h"

namespace tool {

/// A document that was read.
struct ResultFile {
  std::string source;  ///< as it was named on the command line or found in a folder, or "standard input"
  Document document;
  timespec modified{};  ///< when the file was last modified; the time of reading for what is no regular file

  /// Why it is not well-formed, with line and column; it was read nevertheless, since the form in which
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
  std::size_t passedOver = 0;  ///< .xml and .json files in folders that are no results, such as package.xml
};

/// Reads every document. "-" stands for standard input, a folder for all .xml and .json files below it, in
/// the order of their names. A document that cannot be read does not stop the others. Links to folders are
/// not followed.
Results readResults(const std::vector<std::string>& sources);

/// True if the file at `path` is one of those that were read, or could not be read, even under another name.
bool isAmong(const Results& results, const std::string& path);

/// A record and where it comes from.
struct ResultRow {
  const ResultFile* file;
  const Record* record;
  std::size_t position;  ///< in its document, from 1
};

/// All records, failed ones first and otherwise in the order of the documents. They point into `results`.
std::vector<ResultRow> rowsOf(const Results& results);

/// The totals of all documents.
struct ResultSummary {
  std::size_t records = 0;
  std::map<Outcome, std::size_t> outcomes{};  ///< without zeros
  std::size_t failures = 0;                   ///< records whose outcome is a failure

  /// The revisions that records have, without the blanks around them, the most frequent first. Old ones,
  /// which were read before an update, are never counted together with the others.
  std::vector<std::pair<std::string, std::size_t>> revisions{};
  std::vector<std::pair<std::string, std::size_t>> oldRevisions{};
  std::vector<std::string> reboots{};      ///< the documents that ask for one
  std::vector<const ResultFile*> empty{};  ///< the documents without a record
};

ResultSummary summarize(const Results& results);

/// The remark where there are no drives and no verdict says why.
inline constexpr char kNoDrives[] =
    "no drives; nobody can tell why: a server without drives, a missing drive library and a failed discovery look the "
    "same";

/// The remark about a document without records.
std::string noDrivesText(const Document& document);

/// The remark about a document that is not well-formed but could be read.
inline constexpr char kReadByForm[] = "read all the same, by the form in which nvmepcissd writes";

/// The remark about update documents.
inline constexpr char kRevisionsBefore[] =
    "Revisions in update documents were read before flashing; take an inventory for the new ones.";

}  // namespace tool
