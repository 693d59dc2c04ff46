#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Policy.h"

namespace tool {

class Command;

/// A policy on the command line: the name of a file, or what stands for one.
struct PolicyOptions {
  std::string file{};
  std::string to{};
  std::vector<std::string> from{};
  std::string sha256{};
  std::optional<std::size_t> expectDrives{};
  std::string inUse{};
  std::vector<std::string> serials{};
};

/// Adds --policy and the options that stand in its place; both together are wrong usage, and so is a value
/// that cannot be one. `options` must outlive the parsing.
void addPolicyOptions(const Command& command, PolicyOptions& options);

/// The policy of options that were parsed. Nothing, and a line on standard error, for a policy file that
/// cannot be read or is not as it should be.
std::optional<Policy> readPolicy(const PolicyOptions& options);

}  // namespace tool
