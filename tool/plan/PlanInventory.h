#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "Document.h"

namespace tool {

/// What the component lists for a plan.
struct PlanInventory {
  std::vector<Record> records{};        ///< in the order of discovery; none without a document
  std::vector<std::string> problems{};  ///< why there is none, or what is odd about it; for a person
};

/// Has the component in `folder`, an absolute path, take an inventory, and removes what that leaves but for
/// what its install script lays out. It runs without input, in an environment of its own and with the umask
/// 022, for a quarter of an hour at most.
PlanInventory inventoryForPlan(const std::filesystem::path& folder);

}  // namespace tool
