#include "Loader.h"

#include <sstream>
#include <string_view>

#include "BoundedRun.h"
#include "Joined.h"

namespace tool {

namespace {

constexpr char kTrustedProgram[] = "/bin/true";

/// Those that a list can name whose separators are blanks and colons.
std::vector<std::string> listable(std::vector<std::string> names) {
  std::erase_if(names, [](const std::string& name) { return name.find_first_of(" :") != std::string::npos; });
  return names;
}

/// The text between `before` and the last `after` in `line`; empty when they are not there.
std::string between(const std::string& line, std::string_view before, std::string_view after) {
  const std::size_t start = line.find(before);
  const std::size_t end = line.rfind(after);
  if (start == std::string::npos || end == std::string::npos || end < start + before.size()) return {};
  return line.substr(start + before.size(), end - start - before.size());
}

/// "\tNAME => PATH (0xADDRESS)", "\tNAME => not found" or "\tPATH (0xADDRESS)".
void readLibrary(const std::string& line, LoaderAnswer& answer) {
  constexpr std::string_view kArrow = " => ";
  const std::string place = line.substr(1, line.rfind(" (0x") - 1);
  const std::size_t arrow = place.find(kArrow);
  if (arrow == std::string::npos) {
    answer.libraries.emplace(place, place);
    // The loader itself. Programs of some machines need it by its name: those for AArch64 do.
    const std::string name = std::filesystem::path(place).filename();
    if (name.starts_with("ld-linux")) answer.libraries.emplace(name, place);
    return;
  }
  const std::string path = place.substr(arrow + kArrow.size());
  answer.libraries.emplace(place.substr(0, arrow), path == "not found" ? "" : path);
}

/// "ERROR: ld.so: object 'NAME' from LD_PRELOAD cannot be preloaded (REASON): ignored."
/// "/bin/true: PATH: version `VERSION' not found (required by PATH)"
/// "/bin/true: error while loading shared libraries: PATH: REASON", which is the last line
void readComplaint(const std::string& line, LoaderAnswer& answer) {
  constexpr std::string_view kStopped = "error while loading shared libraries: ";
  if (const std::size_t place = line.find(kStopped); place != std::string::npos) {
    answer.end = LoaderAnswer::End::kStopped;
    answer.reason = line.substr(place + kStopped.size());
    return;
  }
  if (const std::string name = between(line, "object '", "' from "); !name.empty()) {
    answer.refusals.emplace(name, between(line, "preloaded (", "): ignored"));
    return;
  }
  const std::string version = between(line, ": version `", "' not found (required by ");
  if (version.empty()) return;
  const std::filesystem::path library = between(line, "/bin/true: ", ": version `");
  answer.missingVersions.push_back({version, library.filename(), between(line, "(required by ", ")")});
}

LoaderAnswer listing(const std::filesystem::path& folder, const std::vector<std::string>& environment,
                     std::chrono::milliseconds limit) {
  LoaderAnswer answer{};
  const BoundedRun run = runBounded({kTrustedProgram}, environment, folder, limit);
  switch (run.end) {
    case BoundedRun::End::kTimedOut:
      answer.end = LoaderAnswer::End::kHung;
      return answer;
    case BoundedRun::End::kSignalled:
      answer.end = LoaderAnswer::End::kCrashed;
      answer.signal = run.status;
      return answer;
    case BoundedRun::End::kNotStarted:
      return answer;
    case BoundedRun::End::kExited:
      break;
  }
  std::istringstream lines(run.output);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with('\t')) {
      readLibrary(line, answer);
    } else {
      readComplaint(line, answer);
    }
  }
  if (!answer.libraries.empty() && answer.reason.empty()) answer.end = LoaderAnswer::End::kListed;
  return answer;
}

}  // namespace

LoaderAnswer askLoader(const std::filesystem::path& folder, const std::vector<std::string>& names,
                       const std::string& searchPath, std::chrono::milliseconds limit) {
  // The loader's option --list is not enough: with it, the first library that is missing ends the listing.
  std::vector<std::string> environment{"LD_TRACE_LOADED_OBJECTS=1"};
  // Another loader may not know the variable, and would run what is preloaded.
  LoaderAnswer alone = listing("/", environment, limit);
  if (alone.end != LoaderAnswer::End::kListed) return {};
  environment.push_back("LD_PRELOAD=" + joined(listable(names), " "));
  if (!searchPath.empty()) environment.push_back("LD_LIBRARY_PATH=" + searchPath);
  return listing(folder, environment, limit);
}

}  // namespace tool
