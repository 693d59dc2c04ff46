// The process that a run of the package is: its executable, what the loader adds to it at the start, and so
// what the drive library is later loaded into.

#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "ElfFile.h"
#include "Loader.h"

namespace tool {

/// The files that the loader lists, with what they say about themselves.
class LoadedFiles {
 public:
  /// Paths of `answer` are relative to `folder`. `files` must outlive this object.
  LoadedFiles(std::filesystem::path folder, LoaderAnswer answer, ElfFiles& files)
      : m_folder(std::move(folder)), m_answer(std::move(answer)), m_files(&files) {}

  const LoaderAnswer& answer() const { return m_answer; }
  const ElfFile& at(const std::filesystem::path& path) { return m_files->at(m_folder / path); }

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
  ElfFiles* m_files;  // never null
};

struct Process {
  ElfFile executable{};
  /// The executable is one for this machine that the loader can be asked about. Otherwise `needed` holds only
  /// the rollback library and the process is any one of this machine.
  bool isFolders{};
  std::vector<std::string> needed{};  ///< the libraries that are loaded at the start, by name
  /// What the loader says of each of `needed`, searched for as the executable has it searched for.
  LoaderAnswer search{};
  std::vector<std::string> libraries{};  ///< those of `needed` that were found, by path

  /// The libraries that the loader did not find, by name: of `needed`, and what those need.
  std::vector<std::string> missing() const;
};

constexpr char kRollbackLibrary[] = "librbkl.so.0";

/// The process of `executable`, which is started in `folder`. Nothing of the folder is run.
Process processOf(const std::filesystem::path& folder, const std::filesystem::path& executable);

/// LD_LIBRARY_PATH of this process, which a run started from here has as well.
std::string loaderPath();

}  // namespace tool
