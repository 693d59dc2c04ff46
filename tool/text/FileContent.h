#pragma once

#include <string>

namespace tool {

/// All bytes of a file, a pipe or, for "-", standard input. Throws std::system_error when `source` cannot be
/// read to its end, and with EFBIG when it is longer than a gibibyte.
std::string contentOf(const std::string& source);

}  // namespace tool
