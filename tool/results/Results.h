// Result documents read back, as the subcommands show them.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "DeviceInfo.h"

namespace tool {

enum class DocumentKind { kInventory, kUpdate };

/// An inventory or update document.
struct ResultFile {
  std::string source{};  ///< as it was named on the command line, or "standard input"
  DocumentKind kind = DocumentKind::kInventory;

  /// In document order. A failed record has status 1 and its message, and nothing that tells which drive it
  /// is: the documents do not say it. The name is in DeviceName.
  std::vector<CDeviceInfo> records{};

  /// The document holds the reboot element.
  bool rebootRequired = false;
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

bool isFailed(const CDeviceInfo& record);

/// The four PCI ids as "vendor:device subvendor:subdevice"; empty without any.
std::string pciIds(const CDeviceInfo& record);

/// The serial number in an enumeration id, which drives carry with a label before it.
std::string serialNumber(const CDeviceInfo& record);

/// A record and where it comes from.
struct ResultRow {
  const ResultFile* file;
  const CDeviceInfo* record;
  std::size_t position;  ///< in its document, from 1
};

/// All records, failed ones first and otherwise in the order of the documents. They point into `results`.
std::vector<ResultRow> rowsOf(const Results& results);

/// What all documents come to.
struct ResultSummary {
  std::size_t records = 0;
  std::size_t failed = 0;
  std::vector<std::pair<std::string, std::size_t>>
      revisions;  ///< of the records that did not fail, without blanks around them, most frequent first
  std::vector<std::string> reboots;  ///< the documents that ask for one
};

ResultSummary summarize(const Results& results);

/// For a person: "inventory" or "update".
const char* kindName(DocumentKind kind);

/// For a person: what became of a record in a document of this kind ("listed", "updated", "failed").
const char* outcomeName(const ResultRow& row);

}  // namespace tool
