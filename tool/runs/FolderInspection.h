// What the check of a component folder means for an update.

#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

struct FolderInspection {
  std::vector<std::string> errors{};    ///< an update is refused for them; for a person
  std::vector<std::string> warnings{};  ///< for a person
  bool obeysList{};  ///< the drive library is our own, which flashes only drives of drives.allow
};

/// The findings of `check`, less those that the folder's own file ignores. Nothing of the folder is run.
FolderInspection inspectFolder(const std::filesystem::path& folder);

}  // namespace tool
