#pragma once

namespace tool {

// The files of tool/init/, which are also installed as the sample package.
extern const char kPackageTemplate[];
extern const char kScriptTemplate[];

}  // namespace tool
