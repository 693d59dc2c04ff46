#pragma once

namespace tool {

// Files of the sources that the program carries: CMake copies their texts into it.

extern const char* const kReportStyle;      ///< report/report.css
extern const char* const kReportScript;     ///< report/report.js
extern const char* const kPackageTemplate;  ///< init/package.xml, also installed as the sample package
extern const char* const kScriptTemplate;   ///< init/fwkitinstall.sh, likewise

}  // namespace tool
