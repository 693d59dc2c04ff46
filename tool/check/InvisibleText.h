#pragma once

#include <string_view>

namespace tool {

/// True when the text holds characters that a person does not see, or that turn the direction of writing, or
/// bytes that are no UTF-8.
bool hasInvisible(std::string_view text);

}  // namespace tool
