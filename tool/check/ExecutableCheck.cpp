#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "Checks.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr char kNotStarted[] =
    "the program is not started: a shell gives status 126 or 127, and there is no document";
constexpr char kLoaderStops[] =
    "the loader ends the program before its start, for every option, with status 127 and without a document";
constexpr char kLoaderStopsLater[] =
    "the loader ends the program with status 127, before its start or as soon as the name is used";
constexpr char kWrongVersion[] =
    "the loader ends the program before its start, for every option, with status 1 and without a document";
constexpr char kTakeBuilt[] =
    "copy nvmepcissd of the build or the installation for the servers' architecture";
constexpr char kTakePlatforms[] =
    "put the platform's librbkl.so.0 for the servers' architecture here, unless the servers have it";
constexpr char kExecutable[] = "nvmepcissd";
constexpr char kRollbackClass[] = "UpdRollbackWrapper";

class Inspection {
 public:
  explicit Inspection(const Package& package)
      : m_package(package),
        m_executable(package.folder / kExecutable),
        m_rollback(package.folder / kRollbackLibrary),
        m_loaded(package.folder, {}, package.files) {}

  Findings run() {
    checkFile();
    checkRollbackFile();
    if (m_package.process.isFolders) {
      m_loaded = LoadedFiles(m_package.folder, askLoader(m_package.folder, loadedNames(), loaderPath()),
                             m_package.files);
      checkNeeded();
      checkBindings();
    }
    return std::move(m_findings);
  }

 private:
  void report(KindId kind, const fs::path& file, std::string problem, std::string consequence,
              std::string remedy) {
    m_findings.push_back({kind, file, 0, std::move(problem), std::move(consequence), std::move(remedy)});
  }

  /// What the program loads: the files, or where a refusal kept the loader from listing them, their names.
  /// The folders of the program's run path do not count then, as they do not for what its libraries need.
  const std::vector<std::string>& loadedNames() const {
    const Process& process = m_package.process;
    return process.search.end == LoaderAnswer::End::kStopped ? process.needed : process.libraries;
  }

  void checkFile() {
    std::error_code error;
    const ElfFile& file = m_package.process.executable;
    if (fs::is_symlink(m_executable, error)) {
      report("executable-link", m_executable, "the executable is a link",
             "payload/ and librbkl.so.0 are looked for beside the file that it leads to, not in this folder",
             "put the executable itself into the component folder");
    }
    if (!fs::exists(m_executable, error)) {
      report("executable-missing", m_executable, "the executable is missing", kNotStarted, kTakeBuilt);
    } else if (!fs::is_regular_file(m_executable, error)) {
      report("executable-not-file", m_executable, "the executable is not a regular file", kNotStarted,
             kTakeBuilt);
    } else if (file.architecture == ElfArchitecture{}) {
      report("executable-not-elf", m_executable, "the executable " + file.damage,
             "the program is not started, or a shell takes it for a script", kTakeBuilt);
    } else if (file.architecture != thisMachine()) {
      report("executable-foreign", m_executable,
             "the executable is for " + file.architecture.name() + ", while this machine is " +
                 thisMachine().name(),
             std::string(kNotStarted) + ", unless the servers are such machines", kTakeBuilt);
    } else if (!file.damage.empty()) {
      report("executable-damaged", m_executable, "the executable " + file.damage,
             "the program is not started, or is ended by a signal when it touches what is missing",
             kTakeBuilt);
    } else if (!file.isProgram()) {
      report("executable-not-elf", m_executable, "the executable is a library or an object file",
             "it is not started, or is ended by a signal", kTakeBuilt);
    } else if (!file.interpreter.empty() && !fs::exists(m_package.folder / file.interpreter, error)) {
      report("executable-needs", m_executable,
             "the program needs the loader " + file.interpreter + ", which is not here", kNotStarted,
             kTakeBuilt);
    } else if (!file.sectionDamage.empty()) {
      report("executable-damaged", m_executable, "the executable " + file.sectionDamage,
             "it may start all the same: what is missing is not loaded", kTakeBuilt);
    } else if (!needs(kRollbackLibrary)) {
      report("executable-other", m_executable,
             std::string("this is another program: it does not need ") + kRollbackLibrary,
             "another program runs, and no drive is listed or flashed", kTakeBuilt);
    }
    checkMode();
  }

  bool needs(const std::string& library) const {
    const std::vector<std::string>& needed = m_package.process.executable.needed;
    return std::find(needed.begin(), needed.end(), library) != needed.end();
  }

  /// Root may execute what has the permission for anybody.
  void checkMode() {
    struct stat status {};
    if (stat(m_executable.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    if (access(m_executable.c_str(), X_OK) == 0) return;
    report("executable-mode", m_executable, "the executable has no permission to be executed", kNotStarted,
           modeRemedy("755", m_executable, m_package.folder));
  }

  void checkRollbackFile() {
    std::error_code error;
    const ElfArchitecture machine =
        m_package.process.isFolders ? m_package.process.executable.architecture : thisMachine();
    if (!fs::exists(m_rollback, error)) return checkRollbackElsewhere();
    const ElfFile& file = m_package.files.at(m_rollback);
    if (fs::is_fifo(m_rollback, error)) {
      return report("rollback-refused", m_rollback, "the rollback library is a pipe",
                    "the loader waits until something writes to it: the program hangs", kTakePlatforms);
    }
    if (file.architecture != ElfArchitecture{} && file.architecture != machine) {
      report(
          "rollback-foreign", m_rollback,
          "the rollback library is for " + file.architecture.name() + ", and not for " + machine.name(),
          "the loader passes over it; where the server has no other one, it ends the program with status 127",
          kTakePlatforms);
    } else if (file.damage.starts_with("is cut off: a part")) {
      report("rollback-refused", m_rollback, "the rollback library " + file.damage,
             "the program is ended by a signal before its start, or when something touches what is missing",
             kTakePlatforms);
    } else if (!file.damage.empty()) {
      report("rollback-refused", m_rollback, "the rollback library " + file.damage, kLoaderStops,
             kTakePlatforms);
    } else if (file.isExecutable) {
      report("rollback-refused", m_rollback, "the rollback library is a program", kLoaderStops,
             kTakePlatforms);
    } else if (!file.sectionDamage.empty()) {
      report("rollback-unchecked", m_rollback, "the rollback library " + file.sectionDamage,
             std::string("the loader loads it nevertheless; whether it has the class ") + kRollbackClass +
                 " was not checked",
             kTakePlatforms);
    }
  }

  void checkRollbackElsewhere() {
    const auto found = m_package.process.search.libraries.find(kRollbackLibrary);
    if (found != m_package.process.search.libraries.end() && !found->second.empty()) return;
    std::error_code error;
    for (fs::directory_iterator entry(m_package.folder, error), end; !error && entry != end;
         entry.increment(error)) {
      const std::string name = entry->path().filename();
      if (!name.starts_with("librbkl") || name == kRollbackLibrary) continue;
      return report("rollback-name", entry->path(), "the rollback library is not named librbkl.so.0",
                    kLoaderStops, "rename it to librbkl.so.0");
    }
    report("rollback-missing", m_rollback, "the rollback library is neither here nor in the system",
           kLoaderStops, kTakePlatforms);
  }

  /// What the executable needs by itself, but for the rollback library, and what its libraries need.
  void checkNeeded() {
    const LoaderAnswer& answer = m_loaded.answer();
    if (answer.end == LoaderAnswer::End::kStopped) {
      report("executable-needs", m_executable,
             "a library that the program needs is refused: " + answer.reason, kLoaderStops,
             "put a whole one for the servers' architecture in its place");
    }
    if (m_package.process.search.end != LoaderAnswer::End::kListed) return;
    for (const std::string& name : m_package.process.missing()) {
      if (name != kRollbackLibrary) reportMissing(name);
    }
    for (const MissingVersion& missing : answer.missingVersions)
      reportVersion("a library that it needs", missing.version, missing.library);
    for (const auto& [library, versions] : m_package.process.executable.neededVersions) {
      const std::set<std::string>& has = m_loaded.at(m_loaded.pathOf(library)).versions;
      if (has.empty()) continue;  // the loader takes one without versions for every version
      for (const std::string& version : versions) {
        if (!has.contains(version)) reportVersion("the program", version, library);
      }
    }
  }

  void reportVersion(const std::string& user, const std::string& version, const std::string& library) {
    report("executable-version", m_executable,
           user + " needs " + version + " of " + library + ", which does not have it here", kWrongVersion,
           "build it for the oldest system that it is to run on");
  }

  void reportMissing(const std::string& name) {
    report("executable-needs", m_executable, "the program needs " + name + ", which the loader does not find",
           kLoaderStops, "install " + name + " on the servers");
  }

  void checkBindings() {
    const bool isComplete = m_package.process.libraries.size() == m_package.process.needed.size();
    if (!isComplete || m_loaded.answer().end != LoaderAnswer::End::kListed) return;
    std::vector<std::string> missing;
    const std::set<fs::path> paths = m_loaded.closure(kExecutable, missing);
    const bool isKnown = std::all_of(paths.begin(), paths.end(), [this](const fs::path& path) {
      return m_loaded.at(path).sectionDamage.empty();
    });
    if (!isKnown) return;
    const std::set<std::string> exports = m_loaded.exportsOf(paths);
    for (const fs::path& path : paths) {
      // What is missing would define what its users import.
      if (path == kExecutable || missing.empty()) checkImports(path, exports);
    }
  }

  /// The program's own are bound before it starts, those of its libraries at the latest when they are used.
  void checkImports(const fs::path& user, const std::set<std::string>& exports) {
    std::vector<std::string> unbound;
    bool hasClass = true;
    for (const std::string& name : m_loaded.at(user).imports) {
      if (exports.contains(name)) continue;
      if (name.find(kRollbackClass) != std::string::npos) {
        hasClass = false;
      } else {
        unbound.push_back(name);
      }
    }
    if (!unbound.empty()) {
      const bool isProgram = user == kExecutable;
      const std::string others =
          unbound.size() == 1 ? "" : " and " + std::to_string(unbound.size() - 1) + " more names";
      report("executable-unbound", m_executable,
             (isProgram ? "the program" : user.filename().string() + ", which the program needs,") +
                 " uses " + unbound.front() + others + ", which none of its libraries defines",
             isProgram ? kLoaderStops : kLoaderStopsLater, kTakeBuilt);
    }
    if (!hasClass) {
      report("rollback-class", m_rollback,
             std::string("the rollback library lacks members of the class ") + kRollbackClass, kLoaderStops,
             kTakePlatforms);
    }
  }

  const Package& m_package;
  fs::path m_executable;
  fs::path m_rollback;
  LoadedFiles m_loaded;  // what the program has loaded when it starts
  Findings m_findings;
};

}  // namespace

Findings checkExecutable(const Package& package) {
  return Inspection(package).run();
}

}  // namespace tool
