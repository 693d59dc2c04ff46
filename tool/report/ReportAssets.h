#pragma once

namespace tool {

/// The style sheet and the script of the report page, from the files beside this one.
extern const char* const kReportStyle;
extern const char* const kReportScript;

}  // namespace tool
