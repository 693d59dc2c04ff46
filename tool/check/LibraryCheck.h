#pragma once

#include <chrono>
#include <filesystem>

#include "Finding.h"
#include "Loader.h"

namespace tool {

/// Asks the dynamic loader whether the drive library in a component folder can be loaded into the folder's
/// executable (or, without one, into a process of this machine), and looks for what the loader would have to
/// bind: every name that the library or one that it needs uses, and the three entry points. Nothing of the
/// folder is run. A loader that takes longer than `limit` is ended, which is a finding.
Findings checkLibrary(const std::filesystem::path& folder, std::chrono::milliseconds limit = kLoaderLimit);

}  // namespace tool
