// For commands whose answer is a verdict and more.

#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "Verdict.h"

namespace tool {

/// The object that `toJson` writes.
nlohmann::ordered_json jsonOf(const Verdict& verdict);

/// The text that `toJson` makes of it.
std::string textOf(const nlohmann::ordered_json& json);

}  // namespace tool
