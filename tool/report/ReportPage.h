#pragma once

#include <iosfwd>

#include "Results.h"

namespace tool {

/// One self-contained HTML page: summary, charts of outcomes and revisions, and a table that can be sorted
/// and filtered. It loads nothing, shows everything without scripts too, and escapes every value.
void writeReport(std::ostream& out, const Results& results);

}  // namespace tool
