// A verdict for a person.

#pragma once

#include <iosfwd>

#include "TerminalText.h"
#include "Verdict.h"

namespace tool {

/// A table with a line for each drive, each distinct reason below it and one sentence at the end. It fits the
/// terminal, 80 columns where there is none: long texts end in "...". What a terminal would obey is shown as
/// dots.
void writeVerdict(std::ostream& out, const Verdict& verdict, const Terminal& terminal);

/// Writes the verdict to standard output, as JSON or for a person. Returns its exit status.
int answer(const Verdict& verdict, bool isJson);

/// What the drives come to: "3 drives: 1 failed, 2 updated."
std::string sentence(const Verdict& verdict);

}  // namespace tool
