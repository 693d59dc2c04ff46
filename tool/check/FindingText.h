#pragma once

#include <iosfwd>

#include "Finding.h"

namespace tool {

/// Three lines a finding, and one with how many of each severity there are. What a terminal would obey is
/// shown as dots.
void writeFindings(std::ostream& out, const Findings& findings, bool colour);

/// One object: `findings`, a list of objects with `id`, `severity`, `file`, `line` (0 where the file as a
/// whole is meant), `problem`, `consequence` and `remedy`.
void writeFindingsAsJson(std::ostream& out, const Findings& findings);

}  // namespace tool
