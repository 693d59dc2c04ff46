#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <string_view>
#include <system_error>
#include <utility>

#include "Checks.h"
#include "ElfFile.h"
#include "FileStart.h"
#include "Loader.h"
#include "TerminalText.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr std::size_t kMostEntries = 10000;
/// The component keeps paths in buffers of this size, with the NUL at their end.
constexpr std::size_t kPathBuffer = 2048;
/// In the texts that the simulator brings, and at the start of its payload.
constexpr std::string_view kSimulatorMark = "nvmepcissd-simulator";
constexpr std::string_view kSimulatorPayload = "SAMPLE FIRMWARE IMAGE\nFor the simulated drives only";

constexpr char kWhoeverWrites[] =
    "whoever can write here decides what the component reads, loads or runs, usually as root";

/// The component asks the system for the path of its working directory, so links do not count. Empty, with
/// `error` set, when it cannot be told.
std::string realPath(const fs::path& folder, std::error_code& error) {
  return fs::canonical(folder, error);
}

class Inspection {
 public:
  explicit Inspection(const fs::path& folder) : m_folder(folder) {}

  Findings run() {
    checkPath();
    checkMarker();
    checkSupportLibraries();
    checkShadowed();
    collectEntries();
    for (const fs::path& entry : m_entries) checkEntry(entry);
    reportOwners();
    checkParents();
    return std::move(m_findings);
  }

 private:
  void report(KindId kind, const fs::path& file, std::string problem, std::string consequence,
              std::string remedy) {
    m_findings.push_back({kind, file, 0, std::move(problem), std::move(consequence), std::move(remedy)});
  }

  void checkPath() {
    std::error_code error;
    const std::string path = realPath(m_folder, error);
    if (path.size() >= kPathBuffer || error == std::errc::filename_too_long) {
      report(
          "path-too-long", m_folder, "the folder's path has 2048 bytes or more",
          "package.xml and the install script are looked for in the root folder instead: an inventory is an "
          "empty document with exit status 0, an update ends with exit status 1",
          "use a shorter path");
    }
    const std::size_t place = path.find_first_of(" \t\n'\"\\$`&|;<>()*?[{");
    if (place != std::string::npos) {
      report("path-shell", m_folder,
             std::string("the folder's path holds the character '") + path[place] + "'",
             "a shell runs the install script under this path and takes the path apart: the script is "
             "not found, or something else runs",
             "use a path of letters, digits, '-', '_', '.' and '/'");
    }
  }

  void checkMarker() {
    const fs::path marker = m_folder / "enabledebug.txt";
    if (access(marker.c_str(), R_OK) != 0) return;
    report(
        "marker-file", marker, "marker file for the debug log was left in place",
        "every run with a drive empties and writes baseutils.log in the working directory, and a log requested "
        "with -d stops at the first drive",
        "remove the file before the package is shipped");
  }

  /// The executable has its own folder on the loader's path.
  void checkSupportLibraries() {
    for (const char* const name : {"libkvrpm.so", "libkvrpm64.so"}) {
      const fs::path library = m_folder / name;
      std::error_code error;
      if (!fs::is_regular_file(library, error)) continue;
      const ElfFile file = readElf(library);
      const bool loads = file.damage.empty() && file.architecture == thisMachine();
      report("support-library", library, "the hardware-access library lies in the component folder",
             loads ? "the loader finds it here: it counts as installed, and the install script never runs"
                   : "the loader cannot load it, so that it counts for nothing",
             "leave it to the install script, unless this is meant");
    }
  }

  /// A library of the system that the executable, or one that has $ORIGIN as its run path, takes from here.
  void checkShadowed() {
    std::error_code error;
    std::vector<std::string> names;
    for (const std::string& name : namesIn(m_folder, error)) {
      const bool isLibrary = name.starts_with("lib") && name.find(".so") != std::string::npos;
      const bool isMeant =
          name == "libnvme.so" || name.starts_with("librbkl.") || name.starts_with("libkvrpm");
      if (isLibrary && !isMeant) names.push_back(name);
    }
    if (names.empty()) return;
    const LoaderAnswer system = askLoader("/", names, {});
    for (const std::string& name : names) {
      const auto found = system.libraries.find(name);
      if (found == system.libraries.end() || found->second.empty()) continue;
      report(
          "system-library-shadowed", m_folder / name, "the system has this library as well",
          "what looks for it beside itself, as the executable does, loads this one instead of the system's " +
              found->second.string() + ", also once that has been mended",
          "leave it out, unless the package has been tested with it");
    }
  }

  /// What lies in the folder, however deep, after the folder itself.
  void collectEntries() {
    m_entries = {m_folder};
    for (std::size_t i = 0; i < m_entries.size(); ++i) {
      const fs::path folder = m_entries[i];
      std::error_code error;
      if (!fs::is_directory(folder, error)) continue;
      // Of links only that of payload/ is followed, since what it holds is used in any case, and no further.
      const fs::path payload = m_folder / "payload";
      if (i > 0 && fs::is_symlink(folder, error) && folder != payload) continue;
      if (folder != payload && fs::is_symlink(payload, error) &&
          folder.string().starts_with(payload.string() + '/'))
        continue;
      for (const std::string& name : namesIn(folder, error)) {
        if (m_entries.size() == kMostEntries) return reportCutShort();
        m_entries.push_back(folder / name);
      }
      if (error) {
        report("subfolder-unreadable", folder, "cannot be read: " + error.message(),
               "unknown: nothing in it was checked", "check the package as a user who may read it");
      }
    }
  }

  void reportCutShort() {
    report("walk-cut-short", m_folder,
           "the folder holds more than " + std::to_string(kMostEntries) + " entries",
           "unknown: owners, permissions, links and names of the others were not checked",
           "a component folder holds a few files: check that this is one");
  }

  void checkEntry(const fs::path& entry) {
    struct stat own {};
    if (lstat(entry.c_str(), &own) != 0) return;
    if (S_ISLNK(own.st_mode)) checkLink(entry);
    if (own.st_uid != 0) m_othersEntries.emplace_back(entry, own.st_uid);
    checkName(entry);
    checkPermissions(entry);
    if (S_ISREG(own.st_mode)) checkOrigin(entry);
  }

  void checkLink(const fs::path& link) {
    std::error_code error;
    const fs::path target = fs::canonical(link, error);
    if (error) {
      report("link-dangling", link, "the link leads nowhere: " + error.message(),
             "opening it fails as if nothing were there",
             "replace the link by what it should lead to, or remove it");
      return;
    }
    const std::string folder = fs::canonical(m_folder, error);
    if (target == folder || target.string().starts_with(folder + '/')) return;
    report("link-leads-out", link, "the link leads out of the folder, to " + target.string(),
           "on another machine something else is there, or nothing", "replace the link by what it leads to");
  }

  void checkName(const fs::path& entry) {
    const std::string name =
        entry == m_folder ? fs::absolute(entry).filename().string() : entry.filename().string();
    constexpr std::size_t kLongest = 120;
    if (hasInvisible(name)) {
      report("name-invisible", entry,
             "the name holds characters that cannot be seen, or that turn the direction",
             "the name goes into commands and logs as it is, where it looks like another one",
             "rename it, with letters, digits, '-', '_' and '.'");
    }
    if (name.size() > kLongest) {
      report("name-too-long", entry, "the name has " + std::to_string(name.size()) + " bytes",
             "it goes into logs as it is; a copy elsewhere may not be possible",
             "use a name of up to " + std::to_string(kLongest) + " bytes");
    }
  }

  void checkPermissions(const fs::path& entry) {
    struct stat status {};
    if (stat(entry.c_str(), &status) != 0) return;
    if ((status.st_mode & S_IWOTH) != 0) {
      report("writable-by-everybody", entry, "may be written by everybody", kWhoeverWrites,
             modeRemedy("go-w", entry, m_folder));
    } else if ((status.st_mode & S_IWGRP) != 0) {
      report("writable-by-group", entry, "may be written by its group", kWhoeverWrites,
             modeRemedy("go-w", entry, m_folder));
    }
  }

  void checkOrigin(const fs::path& entry) {
    if (!isSimulators(entry)) return;
    report("simulator-part", entry, "this is a part of the simulator",
           "the drives, partitions and libraries that it shows do not exist",
           "replace it by the real thing, or remove it");
  }

  static bool isSimulators(const fs::path& entry) {
    const std::string start = startOf(entry);
    if (start.starts_with("\177ELF")) return readElf(entry).origin == "simulator";
    const bool isScenario = entry.extension() == ".json" && start.find("\"drives\"") != std::string::npos;
    return isScenario || entry.filename() == "nvme-state.json" || start.starts_with(kSimulatorPayload) ||
           start.find(kSimulatorMark) != std::string::npos;
  }

  /// One finding for all: they mostly share their owner.
  void reportOwners() {
    if (m_othersEntries.empty()) return;
    const auto& [entry, owner] = m_othersEntries.front();
    const std::size_t others = m_othersEntries.size() - 1;
    report(
        "owner", entry,
        "belongs to user " + std::to_string(owner) + ", not to root" +
            (others == 0 ? std::string() : ", and neither do " + std::to_string(others) + " other entries"),
        kWhoeverWrites, "chown -R root:root " + m_folder.string() + ", or have the package made so");
  }

  /// A folder such as /tmp is fine: there nobody may rename what is another's.
  void checkParents() {
    std::error_code error;
    const fs::path folder = fs::canonical(m_folder, error);
    for (fs::path parent = folder.parent_path(); !error && parent != parent.parent_path();
         parent = parent.parent_path()) {
      struct stat status {};
      if (stat(parent.c_str(), &status) != 0) continue;
      if ((status.st_mode & (S_IWGRP | S_IWOTH)) == 0 || (status.st_mode & S_ISVTX) != 0) continue;
      report(
          "parent-writable", parent,
          std::string("a folder above may be written by ") +
              ((status.st_mode & S_IWOTH) != 0 ? "everybody" : "its group"),
          "whoever can write there can put another folder in place of this one, which usually runs as root",
          "chmod go-w " + parent.string() + ", or put the package elsewhere");
    }
  }

  const fs::path& m_folder;
  std::vector<fs::path> m_entries;
  std::vector<std::pair<fs::path, uid_t>> m_othersEntries;
  Findings m_findings;
};

}  // namespace

Findings checkFolder(const fs::path& folder) {
  return Inspection(folder).run();
}

}  // namespace tool
