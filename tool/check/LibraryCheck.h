#pragma once

#include <chrono>

#include "Finding.h"
#include "Package.h"

namespace tool {

/// Asks the dynamic loader whether the drive library can be loaded into the package's process, and looks for
/// what the loader would have to bind: every name that the library or one that it needs uses, and the three
/// entry points. Nothing of the folder is run. A loader that takes longer than `limit` is ended, which is a
/// finding.
Findings checkLibrary(const Package& package, std::chrono::milliseconds limit = kLoaderLimit);

}  // namespace tool
