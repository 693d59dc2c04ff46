#include "LibraryCheck.h"

#include <glob.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include "ElfFile.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr std::array<const char*, 3> kEntryPoints{"NVMEDiscoverDrives", "NVMEGetDriveInfo",
                                                  "NVMEUpdateFirmware"};

constexpr char kNothingWorks[] =
    "an inventory is an empty document with exit status 0, an update ends with exit status 1";
/// The loader passes over what is not there, and over libraries of other machines.
constexpr char kOtherLibrary[] =
    "a libnvme.so on the loader's search path is opened instead, be it an unrelated one; without one ";
/// It stops at the first of the others that it cannot load, and this one lies beside the executable.
constexpr char kNoOtherLibrary[] =
    "the loader looks no further than here, but for the folders of LD_LIBRARY_PATH: without a libnvme.so there ";

constexpr char kShipWhole[] =
    "ship the drive maker's library for the servers' architecture, whole and unchanged";

std::vector<fs::path> split(const std::string& folders) {
  std::vector<fs::path> list;
  std::istringstream stream(folders);
  for (std::string folder; std::getline(stream, folder, ':');) {
    if (!folder.empty()) list.emplace_back(folder);
  }
  return list;
}

std::vector<fs::path> filesMatching(const std::string& pattern) {
  glob_t found{};
  const std::unique_ptr<glob_t, void (*)(glob_t*)> owner(&found, globfree);
  if (glob(pattern.c_str(), 0, nullptr, &found) != 0) return {};
  return {found.gl_pathv, found.gl_pathv + found.gl_pathc};
}

/// Adds the folders that a configuration file of the loader names to `folders`, and the files that it
/// includes to `files`, once each: a file may include itself.
void readLoaderConfiguration(const fs::path& file, std::vector<fs::path>& folders,
                             std::vector<fs::path>& files) {
  std::ifstream stream(file);
  for (std::string line; std::getline(stream, line);) {
    std::istringstream words(line.substr(0, line.find('#')));
    std::string word;
    if (!(words >> word)) continue;
    if (word != "include") {
      folders.emplace_back(word);
      continue;
    }
    while (words >> word) {
      for (const fs::path& included : filesMatching(file.parent_path() / word)) {
        if (std::find(files.begin(), files.end(), included) == files.end()) files.push_back(included);
      }
    }
  }
}

/// Where the loader looks for every process's libraries, besides LD_LIBRARY_PATH.
const std::vector<fs::path>& systemFolders() {
  static const std::vector<fs::path> kFolders = [] {
    std::vector<fs::path> folders;
    std::vector<fs::path> files{"/etc/ld.so.conf"};
    for (std::size_t i = 0; i < files.size(); ++i)
      readLoaderConfiguration(fs::path(files[i]), folders, files);
    folders.insert(folders.end(), {"/lib", "/usr/lib", "/lib64", "/usr/lib64"});
    return folders;
  }();
  return kFolders;
}

/// The files that one process would have loaded, and what they offer to each other.
class LoadScope {
 public:
  explicit LoadScope(ElfArchitecture architecture) : m_architecture(architecture) {}

  /// Takes in a file of `folder` and all that it needs, however indirectly.
  void add(const ElfFile& file, const fs::path& folder) {
    std::deque<Loaded> queue{{file, folder}};
    for (; !queue.empty(); queue.pop_front()) addOne(queue.front(), queue);
  }

  const std::vector<std::string>& missing() const { return m_missing; }
  const std::map<std::string, bool>& exports() const { return m_exports; }

  /// Versions of symbols that a library is to have and has not, as "GLIBC_2.38 of libc.so.6".
  std::vector<std::string> missingVersions() const {
    std::vector<std::string> list;
    for (const auto& [library, needed] : m_neededVersions) {
      const auto loaded = m_versions.find(library);
      // The loader only warns of a library without any versions.
      if (loaded == m_versions.end() || loaded->second.empty()) continue;
      for (const std::string& version : needed) {
        if (!loaded->second.contains(version))
          list.push_back(std::string(version).append(" of ").append(library));
      }
    }
    return list;
  }

 private:
  struct Loaded {
    ElfFile file;
    fs::path folder;
  };

  /// What it needs itself goes to the end of `queue`.
  void addOne(const Loaded& user, std::deque<Loaded>& queue) {
    m_exports.insert(user.file.exports.begin(), user.file.exports.end());
    for (const auto& [library, versions] : user.file.neededVersions)
      m_neededVersions[library].insert(versions.begin(), versions.end());
    for (const std::string& name : user.file.needed) {
      if (!m_loaded.insert(name).second) continue;
      ElfFile library;
      if (const auto path = find(name, user.file, user.folder, library)) {
        m_versions[name] = library.versions;
        queue.push_back({std::move(library), path->parent_path()});
      } else {
        m_missing.push_back(name);
      }
    }
  }

  std::optional<fs::path> find(const std::string& name, const ElfFile& user, const fs::path& folder,
                               ElfFile& library) const {
    const auto fits = [&](const fs::path& path) {
      return readElf(path, false, library) && library.architecture == m_architecture &&
             library.refusal.empty();
    };
    if (name.find('/') != std::string::npos) return fits(name) ? std::optional<fs::path>(name) : std::nullopt;
    for (const fs::path& place : searchPath(user, folder)) {
      if (fits(place / name)) return place / name;
    }
    return std::nullopt;
  }

  static std::vector<fs::path> searchPath(const ElfFile& user, const fs::path& folder) {
    const char* const environment = std::getenv("LD_LIBRARY_PATH");
    std::vector<fs::path> path = split(environment == nullptr ? "" : environment);
    for (const fs::path& own : split(user.searchPath)) path.push_back(withOrigin(own, folder));
    path.insert(path.end(), systemFolders().begin(), systemFolders().end());
    return path;
  }

  static fs::path withOrigin(std::string path, const fs::path& folder) {
    for (const std::string_view origin : {"${ORIGIN}", "$ORIGIN"}) {
      const std::size_t place = path.find(origin);
      if (place != std::string::npos) path.replace(place, origin.size(), folder.string());
    }
    return path;
  }

  ElfArchitecture m_architecture;
  std::map<std::string, bool> m_exports;
  std::set<std::string> m_loaded;
  std::vector<std::string> m_missing;
  std::map<std::string, std::set<std::string>> m_versions;        // by library: those that it has
  std::map<std::string, std::set<std::string>> m_neededVersions;  // likewise: those that others need
};

class Inspection {
 public:
  explicit Inspection(const fs::path& folder) : m_folder(folder), m_path(folder / "libnvme.so") {
    m_hasExecutable = readElf(folder / "nvmepcissd", true, m_process) && m_process.refusal.empty();
    if (!m_hasExecutable) readElf("/proc/self/exe", true, m_process);
  }

  Findings run() {
    std::error_code error;
    if (!fs::exists(m_path, error)) {
      report("drive library is missing", std::string(kOtherLibrary) + kNothingWorks,
             "put the drive maker's library into the component folder under this name");
    } else if (access(m_path.c_str(), R_OK) != 0) {
      report(std::string("drive library cannot be read: ") + std::strerror(errno),
             std::string(kOtherLibrary) + kNothingWorks, modeRemedy("a+r", m_path, m_folder));
    } else if (fs::is_fifo(m_path, error)) {
      report("drive library cannot be loaded: it is a pipe",
             "opening it waits until something writes to it: the run hangs", kShipWhole);
    } else if (readElf(m_path, false, m_library) && m_library.architecture != m_process.architecture) {
      reportRefusal("is for " + m_library.architecture.name() + ", while " +
                        (m_hasExecutable ? "nvmepcissd" : "this machine") + " is " +
                        m_process.architecture.name(),
                    m_library.architecture.byteOrder == m_process.architecture.byteOrder ? kOtherLibrary
                                                                                         : kNoOtherLibrary);
    } else if (!m_library.refusal.empty()) {
      reportRefusal(m_library.refusal, kNoOtherLibrary);
    } else {
      checkBindings();
    }
    return std::move(m_findings);
  }

 private:
  void report(std::string problem, std::string atRunTime, std::string remedy) {
    m_findings.push_back({m_path, 0, std::move(problem), std::move(atRunTime), std::move(remedy)});
  }

  void reportRefusal(const std::string& reason, const std::string& consequence) {
    report("drive library cannot be loaded: it " + reason, consequence + kNothingWorks, kShipWhole);
  }

  void checkBindings() {
    LoadScope process(m_process.architecture);
    if (m_hasExecutable) process.add(m_process, m_folder);
    LoadScope own(m_process.architecture);
    own.add(m_library, m_folder);
    for (const std::string& name : own.missing()) {
      report(
          "drive library cannot be loaded: " + name + ", which it needs, is not on the loader's search path",
          std::string(kNoOtherLibrary) + kNothingWorks,
          "install " + name +
              " on the servers; beside the drive library it is found only when the latter was "
              "linked with the run path $ORIGIN");
    }
    for (const std::string& version : own.missingVersions()) {
      report("drive library cannot be loaded: it was linked for " + version + ", which is older here",
             std::string(kNoOtherLibrary) + kNothingWorks,
             "have the library built for the oldest system that it is to run on; check on one of the servers "
             "when they are newer than this machine");
    }
    if (own.missing().empty() && own.missingVersions().empty()) reportUnbound(own, process);
    for (const char* const name : kEntryPoints) checkEntryPoint(name, own.exports());
  }

  /// Everything is bound when the library is opened, so one name too many keeps it out.
  void reportUnbound(const LoadScope& own, const LoadScope& process) {
    for (const std::string& name : m_library.imports) {
      if (own.exports().contains(name) || process.exports().contains(name)) continue;
      report("drive library cannot be loaded: " + name +
                 ", which it uses, is in none of the libraries that it needs",
             std::string(kNoOtherLibrary) + kNothingWorks,
             "have the library linked with what defines " + name);
    }
  }

  void checkEntryPoint(const std::string& name, const std::map<std::string, bool>& exports) {
    const auto found = exports.find(name);
    if (found == exports.end()) {
      report("drive library lacks the entry point " + name,
             std::string("the library is closed again and no other is tried; ") + kNothingWorks,
             "ship a drive library that exports " + name + " by this very name");
    } else if (!found->second) {
      report("the drive library's " + name + " is not a function",
             "calling it ends the process with a signal",
             "ship a drive library whose " + name + " is a function");
    }
  }

  fs::path m_folder;
  fs::path m_path;
  ElfFile m_process;
  bool m_hasExecutable = false;
  ElfFile m_library;
  Findings m_findings;
};

}  // namespace

Findings checkLibrary(const fs::path& folder) {
  return Inspection(folder).run();
}

}  // namespace tool
