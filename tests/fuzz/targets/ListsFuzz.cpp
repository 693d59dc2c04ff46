// The two lists that an administrator writes line by line. The first byte says which: even for the serial
// numbers of drives.allow, odd for the findings of .nvmepcissd-check. The rest is the file.

#include <algorithm>
#include <cstdint>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "FuzzHost.h"
#include "FuzzSupport.h"
#include "Selection.h"
#include "SupportedDrives.h"

namespace {

using Bytes = std::span<const std::uint8_t>;

class ListHost : public fuzz::Host {
 public:
  explicit ListHost(std::string list) : m_list(std::move(list)) {}

  nvme_linux::Outcome readFile(const std::string& path, std::size_t limit,
                               std::vector<std::uint8_t>& content) override {
    PROMISE(path == "./drives.allow" && limit > m_list.size());
    content.assign(m_list.begin(), m_list.end());
    return nvme_linux::Outcome::success();
  }

 private:
  std::string m_list;
};

std::set<std::string> allowed(const std::string& list) {
  ListHost host(list);
  const auto serials = nvme_linux::allowedSerials(host);
  PROMISE(serials && host.reports().empty());
  return *serials;
}

/// Each line allows one drive or none, whatever the lines around it are.
void tryAllowList(const fuzz::Scratch& scratch, const std::string& list) {
  scratch.write("drives.allow", {});
  const std::set<std::string> serials = allowed(list);
  std::set<std::string> lineByLine;
  std::size_t begin = 0;
  for (std::size_t end = 0; begin <= list.size(); begin = end + 1) {
    end = std::min(list.find('\n', begin), list.size());
    const std::string line = list.substr(begin, end - begin);
    const std::set<std::string> one = allowed(line);
    PROMISE(one.size() <= 1 && one.empty() == (line.find_first_not_of(" \t\r") == std::string::npos));
    for (const std::string& serial : one) PROMISE(line.find(serial) != std::string::npos);
    lineByLine.insert(one.begin(), one.end());
  }
  PROMISE(serials == lineByLine);
}

std::vector<tool::Finding> sampleFindings() {
  return {{"owner", "./package.xml", 0, "", "", ""},
          {"owner", "./payload/image.bin", 0, "", "", ""},
          {"marker-file", "./payload/image.bin", 0, "", "", ""}};
}

bool isUnknown(const tool::Finding& finding) {
  return finding.kind->id == "ignore-unknown";
}

tool::Findings shown(const fuzz::Scratch& scratch, const std::string& list) {
  scratch.write(tool::kIgnoreFile, Bytes(reinterpret_cast<const std::uint8_t*>(list.data()), list.size()));
  return tool::select(sampleFindings(), ".", {});
}

/// Only what the list names is hidden, and one more line hides what it names and changes nothing else.
void tryIgnoreFile(const fuzz::Scratch& scratch, const std::string& list) {
  const tool::Findings found = shown(scratch, list);
  const auto lines = std::count(list.begin(), list.end(), '\n') + 1;
  long last = 0;
  for (const tool::Finding& finding : found) {
    if (!isUnknown(finding)) continue;
    PROMISE(finding.line > last && finding.line <= lines);
    last = finding.line;
  }
  for (const tool::Finding& finding : sampleFindings()) {
    const bool isNamed = list.find(finding.kind->id) != std::string::npos;
    const auto isIt = [&](const tool::Finding& other) {
      return other.kind->id == finding.kind->id && other.file == finding.file;
    };
    PROMISE(isNamed || std::any_of(found.begin(), found.end(), isIt));
  }
  const tool::Findings fewer = shown(scratch, list + "\nowner\n");
  const auto others = std::count_if(found.begin(), found.end(),
                                    [](const tool::Finding& finding) { return finding.kind->id != "owner"; });
  PROMISE(static_cast<long>(fewer.size()) == others);
  PROMISE(std::none_of(fewer.begin(), fewer.end(),
                       [](const tool::Finding& finding) { return finding.kind->id == "owner"; }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const fuzz::Scratch& scratch = fuzz::Scratch::enter();
  fuzz::Input input(data, size);
  const bool isAllowList = input.byte() % 2 == 0;
  const std::string list(input.rest().begin(), input.rest().end());
  isAllowList ? tryAllowList(scratch, list) : tryIgnoreFile(scratch, list);
  return 0;
}
