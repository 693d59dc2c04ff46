#pragma once

#include <filesystem>

#include "ElfFile.h"
#include "Process.h"

namespace tool {

/// A component folder with what several checks want to know of it.
struct Package {
  explicit Package(std::filesystem::path path);

  std::filesystem::path folder;
  ElfFile driveLibrary;
  Process process;

  /// The drive library is this project's own. It compares ids as numbers, lists and flashes only the drives
  /// that package.xml names, and takes payloads in units of 4 bytes.
  bool hasOwnLibrary() const { return driveLibrary.origin == "nvme_linux"; }
};

}  // namespace tool
