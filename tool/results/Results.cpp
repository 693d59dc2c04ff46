#include "Results.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <unordered_map>

#include "DocumentReader.h"
#include "FileContent.h"

namespace tool {

namespace {

constexpr std::string_view kStandardInput = "-";

Reading readSource(const std::string& source) {
  try {
    return readDocument(contentOf(source));
  } catch (const std::system_error& error) {
    return {.problem = "cannot be read: " + error.code().message()};
  }
}

timespec modificationTime(const std::string& source) {
  struct stat status {};
  timespec now{};
  static_cast<void>(timespec_get(&now, TIME_UTC));
  // What comes through a pipe has no age. It counts as the newest, since somebody has just sent it.
  const bool known = source != kStandardInput && stat(source.c_str(), &status) == 0;
  return known && S_ISREG(status.st_mode) ? status.st_mtim : now;
}

/// Reads one source and adds the result. A file that was only `found` in a folder need not be a result
/// document.
void addSource(Results& results, const std::string& source, bool found) {
  const std::string name = source == kStandardInput ? "standard input" : source;
  Reading reading = readSource(source);
  if (reading.document) {
    results.files.push_back(
        {name, *std::move(reading.document), modificationTime(source), std::move(reading.problem)});
  } else if (found && reading.foreign) {
    ++results.passedOver;
  } else {
    results.unreadable.push_back({name, std::move(reading.problem)});
  }
}

void addFolder(Results& results, const std::string& folder) {
  namespace fs = std::filesystem;
  std::vector<std::string> found;
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const fs::path extension = entry->path().extension();
    // A file that has gone meanwhile is nothing to complain about.
    std::error_code unknown;
    if ((extension == ".xml" || extension == ".json") && entry->is_regular_file(unknown))
      found.push_back(entry->path().string());
  }
  if (error) results.unreadable.push_back({folder, "cannot be read to its end: " + error.message()});
  // The system lists a folder in any order. The output must not depend on it.
  std::sort(found.begin(), found.end());
  if (found.empty() && !error) results.unreadable.push_back({folder, "holds no .xml and no .json file"});
  for (const std::string& file : found) addSource(results, file, true);
}

using Counts = std::unordered_map<std::string_view, std::size_t>;

std::vector<std::pair<std::string, std::size_t>> mostFrequentFirst(const Counts& counts) {
  std::vector<std::pair<std::string, std::size_t>> sorted(counts.begin(), counts.end());
  std::sort(sorted.begin(), sorted.end(), [](const auto& left, const auto& right) {
    return left.second != right.second ? left.second > right.second : left.first < right.first;
  });
  return sorted;
}

}  // namespace

Results readResults(const std::vector<std::string>& sources) {
  Results results;
  for (const std::string& source : sources) {
    std::error_code unknown;
    if (std::filesystem::is_directory(source, unknown)) {
      addFolder(results, source);
    } else {
      addSource(results, source, false);
    }
  }
  return results;
}

bool isAmong(const Results& results, const std::string& path) {
  const auto isPath = [&path](const auto& file) {
    std::error_code unknown;
    return std::filesystem::equivalent(file.source, path, unknown);
  };
  return std::any_of(results.files.begin(), results.files.end(), isPath) ||
         std::any_of(results.unreadable.begin(), results.unreadable.end(), isPath);
}

std::vector<ResultRow> rowsOf(const Results& results) {
  std::vector<ResultRow> rows;
  for (const ResultFile& file : results.files) {
    const std::vector<Record>& records = file.document.records;
    for (std::size_t i = 0; i < records.size(); ++i) rows.push_back({&file, &records[i], i + 1});
  }
  std::stable_partition(rows.begin(), rows.end(),
                        [](const ResultRow& row) { return isFailure(row.record->outcome); });
  return rows;
}

std::string noDrivesText(const Document& document) {
  std::string text;
  for (const std::string& reason : document.reasons) text += (text.empty() ? "no drives: " : "; ") + reason;
  return text.empty() ? kNoDrives : text;
}

ResultSummary summarize(const Results& results) {
  ResultSummary summary;
  Counts revisions;
  Counts oldRevisions;
  for (const ResultFile& file : results.files) {
    if (file.document.rebootRequired) summary.reboots.push_back(file.source);
    if (file.document.records.empty()) summary.empty.push_back(&file);
    for (const Record& record : file.document.records) {
      ++summary.records;
      ++summary.outcomes[record.outcome];
      summary.failures += isFailure(record.outcome) ? 1U : 0U;
      // The revisions of updates and verdicts were read before flashing.
      const bool isOld = file.document.kind != DocumentKind::kInventory && record.newRevision.empty();
      const std::string_view revision = record.latestRevision();
      if (!revision.empty()) ++(isOld ? oldRevisions : revisions)[revision];
    }
  }
  summary.revisions = mostFrequentFirst(revisions);
  summary.oldRevisions = mostFrequentFirst(oldRevisions);
  return summary;
}

}  // namespace tool
