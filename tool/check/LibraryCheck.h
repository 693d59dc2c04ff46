#pragma once

#include <filesystem>

#include "Finding.h"

namespace tool {

/// Looks at the drive library in a component folder as the dynamic loader would: whether it can be loaded
/// into the folder's executable (or, without one, into a process of this machine) and has the three entry
/// points.
Findings checkLibrary(const std::filesystem::path& folder);

}  // namespace tool
