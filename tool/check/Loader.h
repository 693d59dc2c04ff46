// What the dynamic loader of this machine would load, by its own account.
//
// A trusted program of the system (/bin/true) is started in the loader's listing mode, with the files in
// question preloaded: the loader then maps them and what they need, tells what it has found where, and ends
// before it would bind or run anything. A file in question never is the program itself, since the loader
// loads the auditors that a program names, and runs them, also in listing mode.

#pragma once

#include <chrono>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace tool {

/// A symbol version that a library was linked with and that the library found here does not have.
struct MissingVersion {
  std::string version;     ///< as "GLIBC_2.38"
  std::string library;     ///< where it should be, by file name
  std::string requiredBy;  ///< path, as the loader names it
};

struct LoaderAnswer {
  enum class End {
    kListed,
    kStopped,      ///< at a file that one of them needs; `reason` says why
    kCrashed,      ///< on one of the files; `signal` ended it
    kHung,         ///< it took longer than the limit
    kUnavailable,  ///< this machine's loader has no listing mode: nothing was preloaded
  };
  End end = End::kUnavailable;
  int signal{};
  std::string reason{};  ///< as "./libhelper.so: invalid ELF header"
  /// By the name that it was asked for: a preloaded file by the name given, another one, the loader included,
  /// by the name in the file that needs it. The path is empty when it was not found.
  std::map<std::string, std::filesystem::path> libraries{};
  /// Why a preloaded file was not loaded, by the name given, in the loader's words.
  std::map<std::string, std::string> refusals{};
  std::vector<MissingVersion> missingVersions{};
};

/// More than enough for a slow disk.
constexpr std::chrono::milliseconds kLoaderLimit{10000};

/// Asks for `names`, in this order. A name without a slash is searched for; one with a slash is a path, from
/// `folder`, in which the loader runs as the component does. Names that hold a blank or a colon, which
/// separate names, are left out. `searchPath` is LD_LIBRARY_PATH; there is nothing else in the environment.
LoaderAnswer askLoader(const std::filesystem::path& folder, const std::vector<std::string>& names,
                       const std::string& searchPath, std::chrono::milliseconds limit = kLoaderLimit);

}  // namespace tool
