#pragma once

#include <iosfwd>
#include <string_view>

#include "Results.h"

namespace tool {

/// The start of every page. `report` recognises its own pages by it.
inline constexpr std::string_view kReportStart =
    "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
    "<meta name=\"generator\" content=\"nvmepcissd-tool\">\n";

/// One self-contained HTML page about the drives of all servers: totals, charts, models by revision, and
/// tables of servers, drives and remarks that can be sorted and filtered. It loads nothing and escapes every
/// value. Without scripts it shows the first rows of each table, and says so when there are more.
void writeReport(std::ostream& out, const Results& results);

}  // namespace tool
