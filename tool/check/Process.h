// The process that a run of the package is: its executable, what the loader adds to it at the start, and so
// what the drive library is later loaded into.

#pragma once

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ElfFile.h"
#include "Loader.h"

namespace tool {

/// The files that the loader lists, with what they say about themselves.
class LoadedFiles {
 public:
  /// Paths of `answer` are relative to `folder`.
  LoadedFiles(std::filesystem::path folder, LoaderAnswer answer)
      : m_folder(std::move(folder)), m_answer(std::move(answer)) {}

  const LoaderAnswer& answer() const { return m_answer; }
  const ElfFile& at(const std::filesystem::path& path);

  /// Where the loader has found what a file needs by `name`; empty when it has not.
  std::filesystem::path pathOf(const std::string& name);

  /// The file at `path` and everything that it needs, however indirectly. What was not found is added to
  /// `missing`, by name.
  std::set<std::filesystem::path> closure(const std::filesystem::path& path,
                                          std::vector<std::string>& missing);

  /// The names that any of the files offers to the others.
  std::set<std::string> exportsOf(const std::set<std::filesystem::path>& paths);

 private:
  std::filesystem::path m_folder;
  LoaderAnswer m_answer;
  std::map<std::filesystem::path, ElfFile> m_files{};  // those read so far
};

struct Process {
  ElfFile executable{};
  /// The folder has an executable for this machine that the loader can be asked about. Without one, `needed`
  /// holds only the rollback library and the process is any one of this machine.
  bool isFolders = false;
  std::vector<std::string> needed{};  ///< the libraries that are loaded at the start, by name
  /// What the loader says of each of `needed`, searched for as the executable has it searched for.
  LoaderAnswer search{};
  std::vector<std::string> libraries{};  ///< those of `needed` that were found, by path
};

constexpr char kRollbackLibrary[] = "librbkl.so.0";

/// Nothing of the folder is run.
Process processOf(const std::filesystem::path& folder);

/// LD_LIBRARY_PATH of this process, which a run started from here has as well.
std::string loaderPath();

}  // namespace tool
