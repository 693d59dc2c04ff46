// Lists of texts as one text.

#pragma once

#include <string>
#include <string_view>

namespace tool {

/// The texts of a range of strings in its order, with `separator` between them.
std::string joined(const auto& texts, std::string_view separator = ", ") {
  std::string all;
  for (const std::string& text : texts) {
    if (&text != &*texts.begin()) all += separator;
    all += text;
  }
  return all;
}

}  // namespace tool
