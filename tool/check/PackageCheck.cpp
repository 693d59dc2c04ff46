#include "PackageCheck.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>
#include <utility>

#include "DescriptorCheck.h"
#include "LibraryCheck.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

void append(Findings& all, Findings more) {
  all.insert(all.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

/// The names in a folder, sorted; none, with `error` set, when it cannot be read.
std::vector<std::string> namesIn(const fs::path& folder, std::error_code& error) {
  std::vector<std::string> names;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    names.push_back(entry->path().filename());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
  return text;
}

Findings checkPayload(const fs::path& folder) {
  constexpr char kRefused[] =
      "an update flashes nothing; its document lists every drive as if it had succeeded, with exit status 0";
  constexpr char kRemedy[] = "put the one firmware file, and nothing else, into this folder";
  const fs::path payload = folder / "payload";
  std::error_code error;
  if (!fs::is_directory(payload, error)) {
    const bool other = fs::exists(payload, error);
    return {{payload, 0, other ? "payload is not a folder" : "payload folder is missing", kRefused,
             std::string(other ? "make it a folder; " : "") + kRemedy}};
  }

  const std::vector<std::string> names = namesIn(payload, error);
  if (error) return {{payload, 0, "payload folder cannot be read: " + error.message(), kRefused, kRemedy}};
  if (names.empty()) return {{payload, 0, "payload folder is empty", kRefused, kRemedy}};
  if (names.size() > 1) {
    return {
        {payload, 0,
         "payload folder holds " + std::to_string(names.size()) + " entries instead of one: " + joined(names),
         kRefused, kRemedy}};
  }
  const fs::path file = payload / names.front();
  if (!fs::is_regular_file(file, error)) {
    return {{file, 0, "payload is not a regular file",
             "its path goes to the drive library all the same, which decides what to do with it", kRemedy}};
  }
  if (fs::file_size(file, error) == 0) {
    return {{file, 0, "payload is empty", "the drive library is told to flash an empty file", kRemedy}};
  }
  if (access(file.c_str(), R_OK) != 0) {
    return {{file, 0, std::string("payload cannot be read: ") + std::strerror(errno),
             "the drive library is told to flash a file that it cannot read, unless it runs as root",
             modeRemedy("a+r", file, folder)}};
  }
  return {};
}

std::string firstLine(const fs::path& file) {
  std::string line;
  std::ifstream stream(file);
  std::getline(stream, line);
  return line;
}

/// What the first line of a script names; empty for a script that the shell runs by itself.
std::string interpreter(const std::string& line) {
  if (!line.starts_with("#!")) return {};
  constexpr char kBlanks[] = " \t";
  const std::size_t start = line.find_first_not_of(kBlanks, 2);
  return start == std::string::npos ? "" : line.substr(start, line.find_first_of(kBlanks, start) - start);
}

Findings checkInstallScript(const fs::path& folder) {
  constexpr char kNotInstalled[] =
      "unless libkvrpm.so or libkvrpm64.so can be loaded already, the drive library is not even opened: an "
      "inventory is an empty document with exit status 0, an update ends with exit status 1";
  const fs::path script = folder / "fwkitinstall.sh";
  std::error_code error;
  if (!fs::exists(script, error)) {
    return {
        {script, 0, "install script is missing", kNotInstalled, "put the script into the component folder"}};
  }
  if (!fs::is_regular_file(script, error)) {
    return {
        {script, 0, "install script is not a regular file", kNotInstalled, "put a script under this name"}};
  }
  Findings findings;
  if (access(script.c_str(), X_OK) != 0) {
    findings.push_back(
        {script, 0, "install script is not executable", kNotInstalled, modeRemedy("755", script, folder)});
  }
  const std::string line = firstLine(script);
  if (line.starts_with("#!") && line.ends_with('\r')) {
    findings.push_back(
        {script, 1, "the first line ends in a carriage return, which becomes part of the interpreter's name",
         kNotInstalled, "save the script with line feeds only"});
  } else if (const std::string name = interpreter(line);
             !name.empty() && access((folder / name).c_str(), X_OK) != 0) {
    findings.push_back({script, 1,
                        "the interpreter " + name + " cannot be run on this machine: " + std::strerror(errno),
                        kNotInstalled, "name one that the servers have; it was looked for on this machine"});
  }
  return findings;
}

/// The script's path is handed to a shell as it stands.
Findings checkFolderName(const fs::path& folder) {
  std::error_code error;
  const std::string path = fs::canonical(folder, error);
  const std::size_t place = path.find_first_of(" \t\n'\"\\$`&|;<>()*?[{");
  if (place == std::string::npos) return {};
  return {{folder, 0, std::string("the folder's path holds the character '") + path[place] + "'",
           "a shell runs the install script under this path and takes the path apart: the script is "
           "not found, or something else runs",
           "use a path of letters, digits, '-', '_', '.' and '/'"}};
}

/// What lies beside the executable is looked for beside the file that a link leads to.
Findings checkExecutable(const fs::path& folder) {
  const fs::path executable = folder / "nvmepcissd";
  std::error_code error;
  if (!fs::is_symlink(executable, error)) return {};
  return {{executable, 0, "the executable is a link",
           "payload/ and librbkl.so.0 are looked for beside the file that it leads to, not in this folder",
           "put the executable itself into the component folder"}};
}

Findings checkMarker(const fs::path& folder) {
  const fs::path marker = folder / "enabledebug.txt";
  if (access(marker.c_str(), R_OK) != 0) return {};
  return {
      {marker, 0, "marker file for the debug log was left in place",
       "every run with a drive empties and writes baseutils.log in the working directory, and a log requested "
       "with -d stops at the first drive",
       "remove the file before the package is shipped"}};
}

/// What lies in the component folder, however deep, after the folder itself. Links lead anywhere and are not
/// followed, but for that of payload/, whose entries are used in any case.
std::vector<fs::path> everythingIn(const fs::path& component, Findings& findings) {
  std::vector<fs::path> paths{component};
  for (std::size_t i = 0; i < paths.size(); ++i) {
    const fs::path folder = paths[i];
    std::error_code error;
    if (!fs::is_directory(folder, error)) continue;
    if (i > 0 && fs::is_symlink(folder, error) && folder != component / "payload") continue;
    for (const std::string& name : namesIn(folder, error)) paths.push_back(folder / name);
    if (error) {
      findings.push_back({folder, 0, "cannot be read: " + error.message(),
                          "unknown: nothing in it was checked",
                          "check the package as a user who may read it"});
    }
  }
  return paths;
}

/// Whoever may write a file here decides what the component, which mostly runs as root, loads and runs.
Findings checkPermissions(const fs::path& folder) {
  Findings findings;
  for (const fs::path& path : everythingIn(folder, findings)) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) == 0) continue;
    const bool everybody = (status.st_mode & S_IWOTH) != 0;
    findings.push_back(
        {path, 0, std::string("may be written by ") + (everybody ? "everybody" : "its group"),
         "whoever can write here decides what the component reads, loads or runs, usually as root",
         modeRemedy("go-w", path, folder)});
  }
  return findings;
}

}  // namespace

Findings checkPackage(const fs::path& folder) {
  Findings findings = checkDescriptor(folder / "package.xml");
  append(findings, checkPayload(folder));
  append(findings, checkLibrary(folder));
  for (const auto check :
       {checkInstallScript, checkExecutable, checkFolderName, checkMarker, checkPermissions}) {
    append(findings, check(folder));
  }
  return findings;
}

}  // namespace tool
