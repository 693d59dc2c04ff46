#pragma once

#include <string_view>

namespace tool {

/// True when `left` comes before `right` as people sort: letter case aside, and digits in a row by the number
/// that they form, so that "bay 9" comes before "bay 10". A strict weak ordering; texts of equal rank are
/// ordered by their bytes.
bool naturallyLess(std::string_view left, std::string_view right);

}  // namespace tool
