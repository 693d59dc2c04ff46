// The checks that `checkPackage` is made of, one source each: `checkLibrary` is in LibraryCheck.cpp. Each
// collects all findings of its subject, and none runs anything of the folder.

#pragma once

#include <chrono>
#include <filesystem>

#include "ElfFile.h"
#include "Finding.h"
#include "Process.h"

namespace tool {

/// A component folder with what several checks want to know of it.
struct Package {
  explicit Package(std::filesystem::path path)
      : folder(std::move(path)),
        driveLibrary(files.at(folder / "libnvme.so")),
        process(processOf(folder, folder / "nvmepcissd")) {}

  std::filesystem::path folder;
  mutable ElfFiles files{};  // a cache: several checks look at the same libraries
  ElfFile driveLibrary;
  Process process;

  /// The drive library is this project's own. It compares ids as numbers, lists and flashes only the drives
  /// that package.xml names, and takes payloads in units of 4 bytes.
  bool hasOwnLibrary() const { return driveLibrary.origin == "nvme_linux"; }
};

/// Reads the package descriptor at `file` as the component does and notes every trap in it, by line. A file
/// that is missing or not well-formed is one finding. `hasOwnLibrary` is `Package::hasOwnLibrary`.
Findings checkDescriptor(const std::filesystem::path& file, bool hasOwnLibrary);

/// Whether payload/ holds exactly one file, and whether that looks like firmware.
Findings checkPayload(const Package& package);

/// Whether the folder's executable starts: the file itself, the libraries that it needs, and among them the
/// rollback library with its class.
Findings checkExecutable(const Package& package);

/// Asks the dynamic loader whether the drive library can be loaded into the package's process, and looks for
/// what the loader would have to bind: every name that the library or one that it needs uses, and the three
/// entry points. A loader that takes longer than `limit` is ended, which is a finding.
Findings checkLibrary(const Package& package, std::chrono::milliseconds limit = kLoaderLimit);

/// Whether the install script can be run: its mode, its interpreter, its characters, and whether its shell
/// can parse it. A script is only ever parsed (option -n), by a shell of the system that lies outside the
/// folder.
Findings checkInstallScript(const Package& package);

/// The folder as such: its path, and everything in it: owners, permissions, links, names, and what is not to
/// be shipped. At most some ten thousand entries are looked at, and links are not followed out of the folder.
Findings checkFolder(const std::filesystem::path& folder);

}  // namespace tool
