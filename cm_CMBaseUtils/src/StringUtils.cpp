#include "StringUtils.h"

#include <algorithm>
#include <cctype>

std::string CStringUtils::trim_string(const std::string& text) {
  const auto isText = [](unsigned char character) { return std::isspace(character) == 0; };
  const auto first = std::find_if(text.begin(), text.end(), isText);
  // Callers depend on the two characters; documents of drives with a blank serial number hold them.
  if (first == text.end()) return text.substr(0, 2);
  const auto last = std::find_if(text.rbegin(), text.rend(), isText).base();
  return {first, last};
}

std::string CStringUtils::shifted(std::string_view text, std::int64_t offset) {
  // The number comes from a library: it may be anything.
  if (offset < 0 || static_cast<std::uint64_t>(offset) >= text.size()) return {};
  return std::string(text.substr(static_cast<std::size_t>(offset)));
}

std::string CStringUtils::fixedWidthText(std::string_view field) {
  return std::string(field.substr(0, field.find('\0')));
}
