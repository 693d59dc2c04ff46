// How the operations of the simulated rollback library misbehave, read from a JSON file. The file's format is
// described in the README beside the simulator's CMakeLists.txt.

#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace simulator {

/// What an operation does in place of its work: return a code, or throw a byte or a standard exception. An
/// operation that is not named does its work.
using RollbackScript = std::map<std::string, std::function<int()>, std::less<>>;

/// Throws std::runtime_error that names the file, and the key that is to blame.
RollbackScript readRollbackScript(const std::filesystem::path& path);

}  // namespace simulator
