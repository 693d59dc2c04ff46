#pragma once

#include <filesystem>
#include <string>
#include <system_error>
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

/// How to give `file`, in the component folder, another mode. Where a link leads there may be a device or
/// somebody else's file, whose mode nobody should change on this advice.
inline std::string modeRemedy(const std::string& mode, const std::filesystem::path& file,
                              const std::filesystem::path& folder) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::canonical(file, error);
  const bool direct =
      file == folder || target == std::filesystem::canonical(folder, error) / file.lexically_relative(folder);
  if (direct) return "chmod " + mode + " " + file.string();
  return "a link leads to " + target.string() + ": put the thing itself in place of the link";
}

}  // namespace tool
