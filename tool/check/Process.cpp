#include "Process.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace tool {

namespace {

/// The executable's own folders come after those of LD_LIBRARY_PATH.
std::string searchPathOf(const std::string& runPath, const fs::path& executable, const fs::path& folder) {
  std::error_code error;
  const fs::path origin = fs::canonical(executable, error).parent_path();
  const std::string folders = error || origin == fs::canonical(folder, error) ? "." : origin.string();
  std::string expanded = runPath;
  for (const std::string_view variable : {"${ORIGIN}", "$ORIGIN"}) {
    for (std::size_t place = 0; (place = expanded.find(variable)) != std::string::npos;)
      expanded.replace(place, variable.size(), folders);
  }
  const std::string before = loaderPath();
  return before + (before.empty() || expanded.empty() ? "" : ":") + expanded;
}

}  // namespace

std::string loaderPath() {
  const char* const path = std::getenv("LD_LIBRARY_PATH");
  return path == nullptr ? "" : path;
}

fs::path LoadedFiles::pathOf(const std::string& name) {
  const auto listed = m_answer.libraries.find(name);
  if (listed != m_answer.libraries.end() && !listed->second.empty()) return listed->second;
  // What was preloaded is listed by its path, whatever it is needed by: the name of its file, by which the
  // executable needs it, or the name that it gives itself.
  for (const auto& [asked, path] : m_answer.libraries) {
    if (asked.find('/') == std::string::npos) continue;
    if (path.filename() == name || at(path).soname == name) return path;
  }
  return {};
}

std::set<fs::path> LoadedFiles::closure(const fs::path& path, std::vector<std::string>& missing) {
  std::set<fs::path> paths{path};
  std::vector<std::string> names = at(path).needed;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const fs::path place = pathOf(names[i]);
    if (place.empty()) {
      if (std::find(missing.begin(), missing.end(), names[i]) == missing.end()) missing.push_back(names[i]);
    } else if (paths.insert(place).second) {
      const std::vector<std::string>& needed = at(place).needed;
      names.insert(names.end(), needed.begin(), needed.end());
    }
  }
  return paths;
}

std::set<std::string> LoadedFiles::exportsOf(const std::set<fs::path>& paths) {
  std::set<std::string> names;
  for (const fs::path& path : paths) {
    for (const auto& [name, callable] : at(path).exports) names.insert(name);
  }
  return names;
}

std::vector<std::string> Process::missing() const {
  std::vector<std::string> names;
  if (search.end != LoaderAnswer::End::kListed) return names;
  for (const std::string& name : needed) {
    if (!search.libraries.contains(name)) names.push_back(name);
  }
  for (const auto& [name, path] : search.libraries) {
    if (path.empty()) names.push_back(name);
  }
  return names;
}

Process processOf(const fs::path& folder, const fs::path& executable) {
  ElfFile read = readElf(executable);
  const bool isFolders = read.damage.empty() && read.sectionDamage.empty() && read.isProgram() &&
                         read.architecture == thisMachine();
  Process process{.executable = std::move(read), .isFolders = isFolders};
  const ElfFile& file = process.executable;
  process.needed = process.isFolders ? file.needed : std::vector<std::string>{kRollbackLibrary};
  const std::string runPath = process.isFolders ? file.searchPath : "$ORIGIN";
  process.search = askLoader(folder, process.needed, searchPathOf(runPath, executable, folder));
  if (!process.isFolders) return process;
  for (const std::string& name : process.needed) {
    const auto found = process.search.libraries.find(name);
    if (found != process.search.libraries.end() && !found->second.empty())
      process.libraries.push_back(found->second);
  }
  return process;
}

}  // namespace tool
