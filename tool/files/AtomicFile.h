#pragma once

#include <filesystem>
#include <string_view>

namespace tool {

/// What to do if the file exists.
enum class Existing {
  kKeep,     ///< fail with EEXIST
  kReplace,  ///< replace it, keeping its permissions
};

/// Writes a file in one step: whatever happens, `path` holds either its old content or all of `content`. The
/// content is on the disk before the file gets its name. A symbolic link is followed. On failure throws
/// std::system_error and leaves no temporary file behind.
void writeAtomically(const std::filesystem::path& path, std::string_view content, Existing existing);

}  // namespace tool
