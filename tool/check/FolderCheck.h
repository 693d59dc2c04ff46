#pragma once

#include <filesystem>

#include "Finding.h"

namespace tool {

/// The folder as such: its path, and everything in it: owners, permissions, links, names, and what is not to
/// be shipped. At most some ten thousand entries are looked at, and links are not followed out of the folder.
Findings checkFolder(const std::filesystem::path& folder);

}  // namespace tool
