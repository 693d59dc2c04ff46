// The copy of a component folder that an update with our own drive library runs on.

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tool {

/// Copies a component folder to `target`, which must not exist. `allowed` becomes its drives.allow, which the
/// drive library obeys: without a value the folder's own list, if it has one, stays. The marker file of the
/// debug log is left out, because it would end the log. Throws std::filesystem::filesystem_error or
/// std::system_error.
void copyPackage(const std::filesystem::path& folder, const std::filesystem::path& target,
                 const std::optional<std::vector<std::string>>& allowed);

}  // namespace tool
