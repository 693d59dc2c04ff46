#include "Results.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string_view>
#include <system_error>
#include <unordered_map>

#include "DocumentReader.h"

namespace tool {

namespace {

constexpr std::string_view kStandardInput = "-";

struct Closer {
  void operator()(std::FILE* file) const {
    if (file != stdin) static_cast<void>(std::fclose(file));
  }
};

/// All bytes of a file, a pipe or standard input. Throws std::system_error when it cannot be read to its end
/// or has no end in sight.
std::string contentOf(const std::string& source) {
  constexpr std::size_t kMost = std::size_t{1} << 30U;
  const std::unique_ptr<std::FILE, Closer> file(source == kStandardInput ? stdin
                                                                         : std::fopen(source.c_str(), "re"));
  std::string content;
  std::array<char, 65536> buffer{};
  while (file != nullptr && content.size() < kMost) {
    const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file.get());
    content.append(buffer.data(), count);
    if (count == buffer.size()) continue;
    if (std::ferror(file.get()) == 0) return content;
    break;
  }
  throw std::system_error(content.size() < kMost ? errno : EFBIG, std::generic_category());
}

Reading readSource(const std::string& source) {
  try {
    return readDocument(contentOf(source));
  } catch (const std::system_error& error) {
    return {.problem = "cannot be read: " + error.code().message()};
  }
}

}  // namespace

Results readResults(const std::vector<std::string>& sources) {
  Results results;
  for (const std::string& source : sources) {
    const std::string name = source == kStandardInput ? "standard input" : source;
    Reading reading = readSource(source);
    if (reading.document) {
      results.files.push_back({name, *std::move(reading.document), reading.problem});
    } else {
      results.unreadable.push_back({name, reading.problem});
    }
  }
  return results;
}

std::vector<ResultRow> rowsOf(const Results& results) {
  std::vector<ResultRow> rows;
  for (const ResultFile& file : results.files) {
    const std::vector<Record>& records = file.document.records;
    for (std::size_t i = 0; i < records.size(); ++i) rows.push_back({&file, &records[i], i + 1});
  }
  std::stable_partition(rows.begin(), rows.end(),
                        [](const ResultRow& row) { return row.record->outcome == Outcome::kFailed; });
  return rows;
}

ResultSummary summarize(const Results& results) {
  ResultSummary summary{.outcomes = {{Outcome::kListed, 0}, {Outcome::kSuccess, 0}, {Outcome::kFailed, 0}}};
  std::unordered_map<std::string_view, std::size_t> revisions;
  for (const auto& [source, document, notWellFormed] : results.files) {
    if (document.rebootRequired) summary.reboots.push_back(source);
    for (const Record& record : document.records) {
      ++summary.records;
      ++summary.outcomes[record.outcome];
      if (record.outcome != Outcome::kFailed) ++revisions[record.trimmedRevision()];
    }
  }
  summary.revisions.assign(revisions.begin(), revisions.end());
  std::sort(summary.revisions.begin(), summary.revisions.end(), [](const auto& left, const auto& right) {
    return left.second != right.second ? left.second > right.second : left.first < right.first;
  });
  return summary;
}

}  // namespace tool
