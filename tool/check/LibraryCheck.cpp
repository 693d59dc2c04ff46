#include "LibraryCheck.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include "ElfFile.h"
#include "Loader.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr std::array<const char*, 3> kEntryPoints{"NVMEDiscoverDrives", "NVMEGetDriveInfo",
                                                  "NVMEUpdateFirmware"};
/// The name that the component opens it by.
constexpr char kLibrary[] = "./libnvme.so";

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

/// The process that opens the drive library: the folder's executable with what it has loaded at its start.
/// Without a readable executable for this machine, any process of this machine.
struct Process {
  ElfFile executable{.architecture = thisMachine()};
  bool isFolders = false;
  std::vector<std::string> libraries{};  ///< what the executable needs, by path
};

std::string loaderPath() {
  const char* const path = std::getenv("LD_LIBRARY_PATH");
  return path == nullptr ? "" : path;
}

/// The executable's own folders, searched after those of LD_LIBRARY_PATH.
std::string searchPathOf(const ElfFile& executable, const fs::path& path, const fs::path& folder) {
  std::error_code error;
  const fs::path origin = fs::canonical(path, error).parent_path();
  const std::string folders = origin == fs::canonical(folder, error) ? "." : origin.string();
  std::string expanded = executable.searchPath;
  for (const std::string_view variable : {"${ORIGIN}", "$ORIGIN"}) {
    for (std::size_t place = 0; (place = expanded.find(variable)) != std::string::npos;)
      expanded.replace(place, variable.size(), folders);
  }
  const std::string before = loaderPath();
  return before + (before.empty() || expanded.empty() ? "" : ":") + expanded;
}

Process processOf(const fs::path& folder) {
  const fs::path path = folder / "nvmepcissd";
  Process process{.executable = readElf(path)};
  if (!process.executable.damage.empty()) return {};
  process.isFolders = true;
  if (process.executable.architecture != thisMachine()) return process;
  const LoaderAnswer answer =
      askLoader(folder, process.executable.needed, searchPathOf(process.executable, path, folder));
  for (const std::string& name : process.executable.needed) {
    const auto found = answer.libraries.find(name);
    if (found != answer.libraries.end() && !found->second.empty()) process.libraries.push_back(found->second);
  }
  return process;
}

class Inspection {
 public:
  Inspection(const fs::path& folder, std::chrono::milliseconds limit)
      : m_folder(folder), m_path(folder / kLibrary), m_limit(limit), m_process(processOf(folder)) {
    m_path = m_path.lexically_normal();
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
    } else {
      checkFile();
    }
    return std::move(m_findings);
  }

 private:
  void report(std::string problem, std::string atRunTime, std::string remedy) {
    m_findings.push_back({m_path, 0, std::move(problem), std::move(atRunTime), std::move(remedy)});
  }

  void reportRefusal(const std::string& reason, const std::string& consequence) {
    report("drive library cannot be loaded: " + reason, consequence + kNothingWorks, kShipWhole);
  }

  void checkFile() {
    const ElfFile& library = fileAt(kLibrary);
    const ElfArchitecture& own = library.architecture;
    const ElfArchitecture& other = m_process.executable.architecture;
    if (own != ElfArchitecture{} && own != other) {
      reportRefusal("it is for " + own.name() + ", while " +
                        (m_process.isFolders ? "nvmepcissd" : "this machine") + " is " + other.name(),
                    own.byteOrder == other.byteOrder ? kOtherLibrary : kNoOtherLibrary);
    } else if (!library.damage.empty()) {
      reportRefusal("it " + library.damage, kNoOtherLibrary);
    } else if (library.opensNever) {
      reportRefusal("it forbids being loaded at run time", kNoOtherLibrary);
    } else if (other == thisMachine()) {
      askTheLoader();
    }
  }

  void askTheLoader() {
    std::vector<std::string> names = m_process.libraries;
    names.emplace_back(kLibrary);
    m_answer = askLoader(m_folder, names, loaderPath(), m_limit);
    switch (m_answer.end) {
      case LoaderAnswer::End::kListed:
        return checkListing();
      case LoaderAnswer::End::kStopped:
        return reportRefusal(m_answer.reason, kNoOtherLibrary);
      case LoaderAnswer::End::kCrashed:
        return report("drive library cannot be loaded: the loader crashes on it (" +
                          std::string(strsignal(m_answer.signal)) + ")",
                      "the run is ended by this signal, without a document", kShipWhole);
      case LoaderAnswer::End::kHung:
        return report("drive library cannot be loaded: the loader was still at it after " +
                          std::to_string(m_limit.count()) + " ms and was ended",
                      "the run hangs as well", kShipWhole);
      case LoaderAnswer::End::kUnavailable:
        return report(
            "drive library was not checked: this machine's loader cannot be asked what it would load",
            "unknown", "check the package on a machine with glibc");
    }
  }

  void checkListing() {
    if (const auto refusal = m_answer.refusals.find(kLibrary); refusal != m_answer.refusals.end())
      return reportRefusal(refusal->second, kNoOtherLibrary);
    const bool complete = reportMissing() && reportVersions();
    if (complete) reportUnbound();
    for (const char* const name : kEntryPoints) checkEntryPoint(name);
  }

  const ElfFile& fileAt(const fs::path& path) {
    const auto known = m_files.find(path);
    return known != m_files.end() ? known->second
                                  : m_files.emplace(path, readElf(m_folder / path)).first->second;
  }

  /// Where the loader has found what a file needs by `name`; empty when it has not.
  fs::path pathOf(const std::string& name) {
    const auto listed = m_answer.libraries.find(name);
    if (listed != m_answer.libraries.end() && !listed->second.empty()) return listed->second;
    // What was preloaded is listed by its path, whatever it is needed by: the name of its file, by which the
    // executable needs it, or the name that it gives itself.
    for (const auto& [asked, path] : m_answer.libraries) {
      if (asked.find('/') == std::string::npos) continue;
      if (path.filename() == name || fileAt(path).soname == name) return path;
    }
    return {};
  }

  /// The file at `path` and everything that it needs, however indirectly. What was not found is in `missing`.
  std::set<fs::path> closure(const fs::path& path, std::vector<std::string>& missing) {
    std::set<fs::path> paths{path};
    std::vector<std::string> names = fileAt(path).needed;
    for (std::size_t i = 0; i < names.size(); ++i) {
      const fs::path place = pathOf(names[i]);
      if (place.empty()) {
        if (std::find(missing.begin(), missing.end(), names[i]) == missing.end()) missing.push_back(names[i]);
      } else if (paths.insert(place).second) {
        const std::vector<std::string>& needed = fileAt(place).needed;
        names.insert(names.end(), needed.begin(), needed.end());
      }
    }
    return paths;
  }

  /// False when something is missing.
  bool reportMissing() {
    std::vector<std::string> missing;
    m_own = closure(kLibrary, missing);
    for (const std::string& name : missing) {
      report(
          "drive library cannot be loaded: " + name + ", which it needs, is not on the loader's search path",
          std::string(kNoOtherLibrary) + kNothingWorks,
          "install " + name +
              " on the servers; beside the drive library it is found only when the latter was "
              "linked with the run path $ORIGIN");
    }
    return missing.empty();
  }

  bool reportVersions() {
    bool complete = true;
    for (const MissingVersion& missing : m_answer.missingVersions) {
      if (!m_own.contains(missing.requiredBy)) continue;
      complete = false;
      report("drive library cannot be loaded: it was linked for " + missing.version + " of " +
                 missing.library + ", which is older here",
             std::string(kNoOtherLibrary) + kNothingWorks,
             "have the library built for the oldest system that it is to run on; check on one of the servers "
             "when they are newer than this machine");
    }
    return complete;
  }

  /// Everything is bound when the library is opened, for the libraries that come with it as well: one name
  /// too many keeps it out.
  void reportUnbound() {
    std::vector<std::string> ignored;
    const std::set<fs::path> others =
        m_process.isFolders ? closure("nvmepcissd", ignored) : std::set<fs::path>{};
    std::set<std::string> exports;
    for (const std::set<fs::path>& paths : {m_own, others}) {
      for (const fs::path& path : paths) {
        for (const auto& [name, callable] : fileAt(path).exports) exports.insert(name);
      }
    }
    for (const fs::path& path : m_own) {
      if (others.contains(path)) continue;
      for (const std::string& name : fileAt(path).imports) {
        if (!exports.contains(name)) reportUnbound(name, path);
      }
    }
  }

  void reportUnbound(const std::string& name, const fs::path& user) {
    report("drive library cannot be loaded: " + name + ", which " +
               (user == kLibrary ? "it" : user.filename().string() + ", which it needs,") +
               " uses, is in none of the libraries that are loaded",
           std::string(kNoOtherLibrary) + kNothingWorks, "have the library linked with what defines " + name);
  }

  /// They may as well stand in a library that it needs.
  void checkEntryPoint(const std::string& name) {
    bool exported = false;
    bool callable = false;
    for (const fs::path& path : m_own) {
      const std::map<std::string, bool>& exports = fileAt(path).exports;
      const auto found = exports.find(name);
      if (found == exports.end()) continue;
      exported = true;
      callable |= found->second;
    }
    if (!exported) {
      report("drive library lacks the entry point " + name,
             std::string("the library is closed again and no other is tried; ") + kNothingWorks,
             "ship a drive library that exports " + name + " by this very name");
    } else if (!callable) {
      report("the drive library's " + name + " is not a function",
             "calling it ends the process with a signal",
             "ship a drive library whose " + name + " is a function");
    }
  }

  fs::path m_folder;
  fs::path m_path;
  std::chrono::milliseconds m_limit;
  Process m_process;
  LoaderAnswer m_answer;
  std::map<fs::path, ElfFile> m_files;  // those read so far, by path as the loader names them
  std::set<fs::path> m_own;             // the drive library with what it needs
  Findings m_findings;
};

}  // namespace

Findings checkLibrary(const fs::path& folder, std::chrono::milliseconds limit) {
  return Inspection(folder, limit).run();
}

}  // namespace tool
