#pragma once

#include "Finding.h"
#include "Package.h"

namespace tool {

/// Whether the folder's executable starts: the file itself, the libraries that it needs, and among them the
/// rollback library with its class. Nothing of the folder is run.
Findings checkExecutable(const Package& package);

}  // namespace tool
