#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

#include "Checks.h"

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
    "a libnvme.so on the loader's search path is opened instead, even an unrelated one; without one ";
/// It stops at the first of the others that it cannot load, and this one lies beside the executable.
constexpr char kNoOtherLibrary[] =
    "the loader looks no further, except in the folders of LD_LIBRARY_PATH: without a libnvme.so there ";

constexpr char kShipWhole[] =
    "ship the drive maker's library for the servers' architecture, whole and unchanged";

class Inspection {
 public:
  Inspection(const Package& package, std::chrono::milliseconds limit)
      : m_package(package),
        m_path(package.folder / "libnvme.so"),
        m_limit(limit),
        m_loaded(package.folder, {}, package.files) {}

  Findings run() {
    std::error_code error;
    if (!fs::exists(m_path, error)) {
      report("library-missing", "drive library is missing", std::string(kOtherLibrary) + kNothingWorks,
             "put the drive maker's library into the component folder under this name, or the one in "
             "drive_library/ of the installation");
    } else if (fs::is_fifo(m_path, error)) {
      report("library-not-file", "drive library is a pipe",
             "opening it waits until something writes to it: the run hangs", kShipWhole);
    } else if (!fs::is_regular_file(m_path, error)) {
      report("library-not-file", "drive library is not a regular file",
             std::string(kNoOtherLibrary) + kNothingWorks, kShipWhole);
    } else if (access(m_path.c_str(), R_OK) != 0) {
      report("library-unreadable", std::string("drive library cannot be read: ") + std::strerror(errno),
             std::string(kOtherLibrary) + kNothingWorks, modeRemedy("a+r", m_path, m_package.folder));
    } else {
      checkFile();
    }
    return std::move(m_findings);
  }

 private:
  void report(KindId kind, std::string problem, std::string consequence, std::string remedy) {
    m_findings.push_back({kind, m_path, 0, std::move(problem), std::move(consequence), std::move(remedy)});
  }

  void reportRefusal(const std::string& reason) {
    report("library-refused", "drive library cannot be loaded: " + reason,
           std::string(kNoOtherLibrary) + kNothingWorks, kShipWhole);
  }

  void checkFile() {
    const ElfFile& library = m_package.driveLibrary;
    const ElfFile& executable = m_package.process.executable;
    const bool compares = executable.architecture != ElfArchitecture{};
    const ElfArchitecture other = compares ? executable.architecture : thisMachine();
    if (library.architecture != ElfArchitecture{} && library.architecture != other) {
      report(
          "library-foreign",
          "drive library is for " + library.architecture.name() + ", while " +
              (compares ? "nvmepcissd" : "this machine") + " is " + other.name(),
          std::string(library.architecture.byteOrder == other.byteOrder ? kOtherLibrary : kNoOtherLibrary) +
              kNothingWorks,
          kShipWhole);
    } else if (library.damage.starts_with("is cut off: a part")) {
      report("library-crash", "drive library " + library.damage,
             "the run is ended by a signal as soon as something touches what is missing", kShipWhole);
    } else if (!library.damage.empty()) {
      reportRefusal("it " + library.damage);
    } else if (library.opensNever) {
      reportRefusal("it forbids being loaded at run time");
    } else if (other == thisMachine()) {
      askTheLoader();
    }
  }

  void askTheLoader() {
    std::vector<std::string> names = m_package.process.libraries;
    names.emplace_back(kLibrary);
    m_loaded = LoadedFiles(m_package.folder, askLoader(m_package.folder, names, loaderPath(), m_limit),
                           m_package.files);
    const LoaderAnswer& answer = m_loaded.answer();
    switch (answer.end) {
      case LoaderAnswer::End::kListed:
        return checkListing();
      case LoaderAnswer::End::kStopped:
        return reportRefusal(answer.reason);
      case LoaderAnswer::End::kCrashed:
        return report("library-crash",
                      std::string("the loader crashes on the drive library: ") + strsignal(answer.signal),
                      "the run is ended by this signal, without a document", kShipWhole);
      case LoaderAnswer::End::kHung:
        return report("library-hang",
                      "the loader was still busy with the drive library after " +
                          std::to_string(m_limit.count()) + " ms and was ended",
                      "the run hangs as well", kShipWhole);
      case LoaderAnswer::End::kUnavailable:
        return report("library-unchecked", "this machine's loader cannot be asked what it would load",
                      "unknown: whether the drive library can be loaded was not checked",
                      "check the package on a machine with glibc");
    }
  }

  void checkListing() {
    const auto& refusals = m_loaded.answer().refusals;
    if (const auto refusal = refusals.find(kLibrary); refusal != refusals.end())
      return reportRefusal(refusal->second);
    if (!m_package.driveLibrary.sectionDamage.empty()) {
      return report("library-unchecked", "drive library " + m_package.driveLibrary.sectionDamage,
                    "the loader loads it nevertheless; which names the library has was not checked",
                    kShipWhole);
    }
    const bool complete = reportMissing() && reportVersions();
    if (complete) reportUnbound();
    for (const char* const name : kEntryPoints) checkEntryPoint(name);
  }

  /// False when something is missing.
  bool reportMissing() {
    std::vector<std::string> missing;
    m_own = m_loaded.closure(kLibrary, missing);
    for (const std::string& name : missing) {
      report(
          "library-needs",
          "drive library cannot be loaded: " + name + ", which it needs, is not on the loader's search path",
          std::string(kNoOtherLibrary) + kNothingWorks,
          "install " + name +
              " on the servers; beside the drive library it is found only when that was linked with the run "
              "path $ORIGIN");
    }
    return missing.empty();
  }

  bool reportVersions() {
    bool complete = true;
    for (const MissingVersion& missing : m_loaded.answer().missingVersions) {
      if (!m_own.contains(missing.requiredBy)) continue;
      complete = false;
      report("library-version",
             "drive library cannot be loaded: it was linked for " + missing.version + " of " +
                 missing.library + ", which is older here",
             std::string(kNoOtherLibrary) + kNothingWorks,
             "have the library built for the oldest system that it is to run on; check on one of the servers "
             "when they are newer than this machine");
    }
    return complete;
  }

  /// Everything is bound when the library is opened, for the libraries that come with it as well: one name
  /// without a definition keeps it out.
  void reportUnbound() {
    std::vector<std::string> ignored;
    const std::set<fs::path> others =
        m_package.process.isFolders ? m_loaded.closure("nvmepcissd", ignored) : std::set<fs::path>{};
    std::set<std::string> exports = m_loaded.exportsOf(m_own);
    exports.merge(m_loaded.exportsOf(others));
    for (const fs::path& path : m_own) {
      if (others.contains(path)) continue;
      for (const std::string& name : m_loaded.at(path).imports) {
        if (!exports.contains(name)) reportUnbound(name, path);
      }
    }
  }

  void reportUnbound(const std::string& name, const fs::path& user) {
    report("library-unbound",
           "drive library cannot be loaded: " + name + ", which " +
               (user == kLibrary ? "it" : user.filename().string() + ", which it needs,") +
               " uses, is in none of the libraries that are loaded",
           std::string(kNoOtherLibrary) + kNothingWorks, "have the library linked with what defines " + name);
  }

  /// They may as well stand in a library that it needs.
  void checkEntryPoint(const std::string& name) {
    bool exported = false;
    bool callable = false;
    for (const fs::path& path : m_own) {
      const std::map<std::string, bool>& exports = m_loaded.at(path).exports;
      const auto found = exports.find(name);
      if (found == exports.end()) continue;
      exported = true;
      callable |= found->second;
    }
    if (!exported) {
      report("library-entry-point", "drive library lacks the entry point " + name,
             std::string("the library is closed again and no other is tried; ") + kNothingWorks,
             "ship a drive library that exports " + name + " by this very name");
    } else if (!callable) {
      report("library-entry-not-function", "the drive library's " + name + " is not a function",
             "calling it ends the run with a signal",
             "ship a drive library whose " + name + " is a function");
    }
  }

  const Package& m_package;
  fs::path m_path;
  std::chrono::milliseconds m_limit;
  LoadedFiles m_loaded;
  std::set<fs::path> m_own;  // the drive library with what it needs, as the loader names them
  Findings m_findings;
};

}  // namespace

Findings checkLibrary(const Package& package, std::chrono::milliseconds limit) {
  return Inspection(package, limit).run();
}

}  // namespace tool
