#include <sys/stat.h>
#include <unistd.h>

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
constexpr char kTakeBuilt[] =
    "copy nvmepcissd of the build or the installation for the servers' architecture";
constexpr char kTakePlatforms[] =
    "put the platform's librbkl.so.0 for the servers' architecture here, unless the servers have it";
constexpr char kRollbackClass[] = "UpdRollbackWrapper";

class Inspection {
 public:
  explicit Inspection(const Package& package)
      : m_package(package),
        m_executable(package.folder / "nvmepcissd"),
        m_rollback(package.folder / kRollbackLibrary),
        m_loaded(package.folder, {}) {}

  Findings run() {
    checkFile();
    checkRollbackFile();
    if (m_package.process.isFolders) {
      m_loaded = LoadedFiles(m_package.folder,
                             askLoader(m_package.folder, m_package.process.libraries, loaderPath()));
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
    } else if (!file.isExecutable) {
      report("executable-not-elf", m_executable, "the executable is a library or an object file",
             "it is not started, or is ended by a signal", kTakeBuilt);
    }
    checkMode();
  }

  /// Root needs the bit as well.
  void checkMode() {
    struct stat status {};
    if (stat(m_executable.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    if ((status.st_mode & S_IXUSR) != 0 && access(m_executable.c_str(), X_OK) == 0) return;
    report("executable-mode", m_executable, "the executable has no permission to be executed", kNotStarted,
           modeRemedy("755", m_executable, m_package.folder));
  }

  void checkRollbackFile() {
    std::error_code error;
    const ElfArchitecture machine =
        m_package.process.isFolders ? m_package.process.executable.architecture : thisMachine();
    if (!fs::exists(m_rollback, error)) return checkRollbackElsewhere();
    const ElfFile file = readElf(m_rollback);
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
    }
  }

  void checkRollbackElsewhere() {
    const auto found = m_package.process.search.libraries.find(kRollbackLibrary);
    if (found != m_package.process.search.libraries.end() && !found->second.empty()) return;
    std::error_code error;
    for (fs::directory_iterator entry(m_package.folder, error), end; !error && entry != end;
         entry.increment(error)) {
      if (!entry->path().filename().string().starts_with("librbkl")) continue;
      return report("rollback-name", entry->path(), "the rollback library is not named librbkl.so.0",
                    kLoaderStops, "rename it to librbkl.so.0");
    }
    report("rollback-missing", m_rollback, "the rollback library is neither here nor in the system",
           kLoaderStops, kTakePlatforms);
  }

  /// What the executable needs by itself, but for the rollback library, and what its libraries need.
  void checkNeeded() {
    if (m_package.process.search.end != LoaderAnswer::End::kListed) return;
    for (const std::string& name : m_package.process.needed) {
      const auto found = m_package.process.search.libraries.find(name);
      const bool isFound = found != m_package.process.search.libraries.end() && !found->second.empty();
      if (!isFound && name != kRollbackLibrary) reportMissing(name);
    }
    for (const auto& [name, path] : m_loaded.answer().libraries) {
      if (path.empty()) reportMissing(name);
    }
    for (const MissingVersion& missing : m_loaded.answer().missingVersions) {
      report("executable-version", m_executable,
             "the program needs " + missing.version + " of " + missing.library + ", which is older here",
             kLoaderStops, "build it for the oldest system that it is to run on");
    }
  }

  void reportMissing(const std::string& name) {
    report("executable-needs", m_executable, "the program needs " + name + ", which the loader does not find",
           kLoaderStops, "install " + name + " on the servers");
  }

  /// Everything is bound before the program starts.
  void checkBindings() {
    const bool isComplete = m_package.process.libraries.size() == m_package.process.needed.size();
    if (!isComplete || m_loaded.answer().end != LoaderAnswer::End::kListed) return;
    std::vector<std::string> ignored;
    const std::set<fs::path> paths = m_loaded.closure("nvmepcissd", ignored);
    const std::set<std::string> exports = m_loaded.exportsOf(paths);
    bool hasClass = true;
    for (const std::string& name : m_loaded.at("nvmepcissd").imports) {
      if (exports.contains(name)) continue;
      if (name.find(kRollbackClass) != std::string::npos) {
        hasClass = false;
      } else {
        report("executable-unbound", m_executable,
               "the program uses " + name + ", which none of its libraries defines", kLoaderStops,
               kTakeBuilt);
      }
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
