#pragma once

#include <filesystem>

#include "Finding.h"

namespace tool {

/// Everything in a component folder that the component would stumble over without a word: its descriptor,
/// payload, drive library, install script, marker file and permissions. Reads only; runs nothing.
Findings checkPackage(const std::filesystem::path& folder);

}  // namespace tool
