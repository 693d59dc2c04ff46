// How the operations of the simulated rollback library misbehave, read from a JSON file.
// simulator/README.md describes its format.

#pragma once

#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace simulator {

/// By operation, what it does instead of its work: return a code, throw a byte or throw a standard exception.
/// An operation that is not in the map does its work.
using RollbackScript = std::map<std::string, std::function<int()>, std::less<>>;

/// Throws std::runtime_error that names the file and the offending key.
RollbackScript readRollbackScript(const std::filesystem::path& path);

}  // namespace simulator
