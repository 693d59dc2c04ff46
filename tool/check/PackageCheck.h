#pragma once

#include <filesystem>

#include "Finding.h"

namespace tool {

/// Everything in a component folder that the component would stumble over, mostly without a word, and what
/// should not be shipped in one. Reads only; runs nothing of the folder. A folder that cannot be read is the
/// only finding.
///
/// Findings are collected: a defect does not end the check, but what cannot be told because of it is left out
/// (a descriptor that cannot be parsed has no traps on its lines). The component stops at its first defect,
/// so a run may show only the first of several consequences.
///
/// CONTRIBUTING.md lists the places of a new finding.
Findings checkPackage(const std::filesystem::path& folder);

}  // namespace tool
