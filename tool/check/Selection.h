// Which findings are shown.

#pragma once

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "Finding.h"

namespace tool {

/// In a component folder: one id a line, for findings of this folder that are meant, and after a blank the
/// file that it goes for, as seen from the folder. Without a file it goes for all. "#" begins a comment.
constexpr char kIgnoreFile[] = ".nvmepcissd-check";

struct Selection {
  std::set<std::string> ignored{};    ///< by id, for every file
  Severity lowest = Severity::kNote;  ///< what is less severe is not shown
};

/// Those of `findings` that are to be shown: less those of `selection` and of the folder's ignore file. An id
/// in that file that no finding can have is a finding itself.
Findings select(const Findings& findings, const std::filesystem::path& folder, const Selection& selection);

}  // namespace tool
