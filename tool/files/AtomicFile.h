#pragma once

#include <filesystem>
#include <string_view>

namespace tool {

/// What to do with a file that is there already.
enum class Existing {
  kKeep,     ///< fail with EEXIST
  kReplace,  ///< replace it, keeping its permissions
};

/// Writes a file in one step: under `path` stands what was there before or all of `content`, whatever
/// happens. The content is on the disk before it gets its name. A symbolic link is followed. Throws
/// std::system_error, and leaves no temporary file behind then.
void writeAtomically(const std::filesystem::path& path, std::string_view content, Existing existing);

}  // namespace tool
