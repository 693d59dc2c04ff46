#pragma once

#include <filesystem>
#include <string>

namespace tool {

/// The firmware file of a component folder.
struct Payload {
  std::string name{};     ///< its file name
  std::string sha256{};   ///< 64 hexadecimal digits in lower case
  std::string problem{};  ///< why there is none that a run would flash; empty when there is one
};

/// Reads the one file that lies in `payload/` of a component folder.
Payload readPayload(const std::filesystem::path& folder);

}  // namespace tool
