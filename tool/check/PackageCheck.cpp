#include "PackageCheck.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "Checks.h"
#include "FileStart.h"

namespace fs = std::filesystem;

namespace tool {

Findings checkPackage(const fs::path& folder) {
  std::error_code error;
  namesIn(folder, error);
  if (!error && access(folder.c_str(), X_OK) != 0) error.assign(errno, std::generic_category());
  if (error) {
    return {{"folder-unreadable", folder, 0, "the folder cannot be read: " + error.message(),
             "unknown: nothing in it was checked", "check the package as a user who may read it"}};
  }
  const Package package(folder);
  Findings findings = checkDescriptor(folder / "package.xml", package.hasOwnLibrary());
  append(findings, checkPayload(package));
  append(findings, checkExecutable(package));
  append(findings, checkLibrary(package));
  append(findings, checkInstallScript(package));
  append(findings, checkFolder(folder));
  return findings;
}

}  // namespace tool
