#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tool {

/// A trap in a component folder that the component itself says nothing about.
struct Finding {
  std::filesystem::path file;
  long line = 0;          ///< 0 where the file as a whole is meant, or has no lines
  std::string problem;    ///< what is there, as "Device has no componentID"
  std::string atRunTime;  ///< what the component does with it
  std::string remedy;     ///< how to mend it
};

using Findings = std::vector<Finding>;

}  // namespace tool
