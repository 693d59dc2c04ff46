#include "ServerName.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>
#include <unordered_map>
#include <utility>

namespace tool {

namespace {

constexpr std::string_view kSeparators = " ._-";
constexpr std::array<std::string_view, 7> kWords{"inventory", "update", "verdict", "result",
                                                 "results",   "before", "after"};
// Any server may keep its results in such places, for example in /var/lib/nvmepcissd, so that they identify
// none.
constexpr std::array<std::string_view, 4> kPlaces{"var", "lib", "state", "nvmepcissd"};

std::string lowered(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

template <class Words>
bool isOneOf(std::string_view text, const Words& words) {
  return std::find(words.begin(), words.end(), lowered(text)) != words.end();
}

std::string_view trimmed(std::string_view name) {
  const std::size_t start = name.find_first_not_of(kSeparators);
  if (start == std::string_view::npos) return {};
  return name.substr(start, name.find_last_not_of(kSeparators) + 1 - start);
}

/// The name without the words at its ends.
std::string_view withoutWords(std::string_view name) {
  for (name = trimmed(name);;) {
    const std::size_t first = std::min(name.find_first_of(kSeparators), name.size());
    const std::size_t last = name.find_last_of(kSeparators) + 1;  // npos + 1 is 0: the whole name
    if (!name.empty() && isOneOf(name.substr(0, first), kWords)) {
      name = trimmed(name.substr(first));
    } else if (!name.empty() && isOneOf(name.substr(last), kWords)) {
      name = trimmed(name.substr(0, last));
    } else {
      return name;
    }
  }
}

std::filesystem::path normal(const std::filesystem::path& document) {
  return std::filesystem::absolute(document).lexically_normal();
}

/// The last names of a path, `count` of them.
std::string tail(const std::filesystem::path& path, std::size_t count) {
  const auto length = static_cast<std::size_t>(std::distance(path.begin(), path.end()));
  auto part = path.begin();
  std::advance(part, static_cast<std::ptrdiff_t>(length - std::min(count, length)));
  std::filesystem::path last;
  for (; part != path.end(); ++part) last /= *part;
  return last.string();
}

}  // namespace

std::filesystem::path serverPath(const std::filesystem::path& document) {
  std::filesystem::path server;
  bool isRun = false;
  const std::filesystem::path whole = normal(document).replace_extension().relative_path();
  for (const std::filesystem::path& part : whole) {
    const std::string name = part.string();
    // The name below runs/ is the run's own.
    if (std::exchange(isRun, name == "runs") || isRun || isOneOf(name, kPlaces)) continue;
    if (const std::string_view rest = withoutWords(name); !rest.empty()) server /= rest;
  }
  return server;
}

std::vector<std::string> serverNames(const std::vector<std::filesystem::path>& paths,
                                     const std::string& thisMachine) {
  std::vector<std::string> names(paths.size(), thisMachine);
  std::vector<std::size_t> open;
  for (std::size_t i = 0; i < paths.size(); ++i) {
    if (!paths[i].empty()) open.push_back(i);
  }
  for (std::size_t count = 1; !open.empty(); ++count) {
    std::unordered_map<std::string, std::size_t> uses;
    for (const std::size_t i : open) ++uses[names[i] = tail(paths[i], count)];
    // A path without further components stays as it is: the others become longer.
    std::erase_if(open, [&](std::size_t i) { return uses[names[i]] == 1 || names[i] == paths[i].string(); });
  }
  return names;
}

int phaseOf(const std::filesystem::path& document) {
  std::string text = lowered(normal(document).replace_extension().string());
  std::replace_if(
      text.begin(), text.end(),
      [](char c) { return c == '/' || kSeparators.find(c) != std::string_view::npos; }, '/');
  // With a slash for every separator, a search finds whole words only: "after", but not "rafter".
  const std::string padded = text + '/';
  if (padded.find("/before/") != std::string::npos) return -1;
  return padded.find("/after/") != std::string::npos || padded.find("/verdict/") != std::string::npos ? 1 : 0;
}

}  // namespace tool
