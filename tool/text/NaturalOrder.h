#pragma once

#include <string_view>

namespace tool {

/// True when `left` comes before `right` as people sort: ignoring case, and with runs of digits compared as
/// numbers, so that "bay 9" comes before "bay 10". A strict weak ordering: texts that compare equal otherwise
/// are ordered by their bytes.
bool naturallyLess(std::string_view left, std::string_view right);

}  // namespace tool
