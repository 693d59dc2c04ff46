// Files and folders as the checks look at them.

#pragma once

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

namespace tool {

/// The names in a folder, sorted; none, with `error` set, when it cannot be read.
std::vector<std::string> namesIn(const std::filesystem::path& folder, std::error_code& error);

/// The first `limit` bytes of a regular file; nothing of any other, or of one that cannot be read. Nothing is
/// waited for.
std::string startOf(const std::filesystem::path& file, std::size_t limit = 4096);

}  // namespace tool
