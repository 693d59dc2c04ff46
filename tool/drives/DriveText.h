// What the kernel knows of the drives, as an answer to a person or a program.

#pragma once

#include <iosfwd>

#include "DriveFacts.h"
#include "Verdict.h"

namespace tool {

/// One drive for each of the list, in its order: kUnhealthy with a critical warning or while it is updated,
/// kStaged while firmware waits for a reset, else kListed. `before` is what it runs. The reasons say what
/// could not be told, and what `isRoot` has to do with it. Always done, with status 0.
Verdict describe(const DriveList& list, bool isRoot);

/// A paragraph for each drive, one fact a line, and the reasons below. What a terminal would obey is shown as
/// dots. `verdict` is that of `describe`.
void writeDrives(std::ostream& out, const DriveList& list, const Verdict& verdict);

}  // namespace tool
