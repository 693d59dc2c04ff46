#pragma once

#include "Finding.h"
#include "Package.h"

namespace tool {

/// Whether payload/ holds exactly one file, and whether that looks like firmware.
Findings checkPayload(const Package& package);

}  // namespace tool
