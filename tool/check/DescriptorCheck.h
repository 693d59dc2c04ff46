#pragma once

#include <filesystem>

#include "Finding.h"

namespace tool {

/// What is written in place of a value that somebody has yet to fill in.
constexpr char kToFillIn[] = "FILL-IN";

/// Reads the package descriptor at `file` as the component does and notes every trap in it, by line. A file
/// that is missing or not well-formed is one finding. `hasOwnLibrary` is `Package::hasOwnLibrary`.
Findings checkDescriptor(const std::filesystem::path& file, bool hasOwnLibrary);

}  // namespace tool
