// What one call of the component leaves beside each other: STEM.xml, its document, STEM.log, its debug log,
// and STEM.out, what it prints.

#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "Component.h"
#include "DebugLog.h"
#include "Document.h"

namespace tool {

/// A call with "-i" or "-u" in `folder`, which may be the component folder or a copy of it. Removes an
/// earlier document of that stem, which a component that fails would leave there. Throws
/// std::filesystem::filesystem_error.
ComponentCall callLeaving(const std::filesystem::path& stem, const std::filesystem::path& folder,
                          const char* command, const Environment& environment);

// Each of these gives nothing, and adds a problem for a person, for a file that cannot be read.
std::optional<std::string> contentOf(const std::filesystem::path& path, std::vector<std::string>& problems);
std::optional<Document> documentFrom(const std::filesystem::path& path, std::vector<std::string>& problems);

/// The last command of that kind in a log; nothing, without a problem, when the log has none.
std::optional<LoggedRun> logFrom(const std::filesystem::path& path, bool isUpdate,
                                 std::vector<std::string>& problems);

/// An inventory that takes longer is left to itself, and counts as none.
inline constexpr std::chrono::seconds kInventoryLimit{900};

/// What the component told of the drives.
struct InventoryTaken {
  std::optional<Document> document{};   ///< nothing without one that can be read
  std::vector<std::string> problems{};  ///< why there is none, and what went wrong around it; for a person
};

/// Has the component in `folder` take an inventory. The caller holds the RunLock. Throws std::system_error
/// when it cannot be started.
InventoryTaken takeInventory(const std::filesystem::path& folder, const Environment& environment,
                             const std::filesystem::path& stem);

}  // namespace tool
