#pragma once

#include <filesystem>

#include "Finding.h"

namespace tool {

/// Reads the package descriptor at `file` as the component does and notes every trap in it, by line. A file
/// that is missing or not well-formed is one finding.
Findings checkDescriptor(const std::filesystem::path& file);

}  // namespace tool
