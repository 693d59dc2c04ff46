#pragma once

#include "Command.h"

namespace tool {

/// Adds `init` to the command line of `app`. When it is chosen, `action` becomes what it does. Both must
/// outlive the parsing.
void addInitCommand(CLI::App& app, Action& action);

}  // namespace tool
