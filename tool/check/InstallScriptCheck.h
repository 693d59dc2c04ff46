#pragma once

#include <string>

#include "Finding.h"
#include "Package.h"

namespace tool {

/// Whether the install script can be run: its mode, its interpreter, its characters, and whether its shell
/// can parse it. A script is only ever parsed (option -n), by a shell of the system that lies outside the
/// folder.
Findings checkInstallScript(const Package& package);

}  // namespace tool
