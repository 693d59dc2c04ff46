#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace tool {

/// What to do if the file exists.
enum class Existing {
  kKeep,     ///< fail with EEXIST
  kReplace,  ///< replace it, keeping its permissions
};

/// Writes a file in one step: whatever happens, `path` holds either its old content or all of `content`. The
/// content is on the disk before the file gets its name, and the name is when this returns. A symbolic link
/// is followed. On failure throws std::system_error and leaves no temporary file behind.
void writeAtomically(const std::filesystem::path& path, std::string_view content, Existing existing);

/// Writes a file of this program's own with `writeAtomically`. A file that is there already is replaced only
/// if it is a regular one that begins with `start`, as `content` does. Returns why it was not written, for a
/// person; empty when it was.
std::string replaceOwnFile(const std::filesystem::path& path, std::string_view content,
                           std::string_view start);

}  // namespace tool
