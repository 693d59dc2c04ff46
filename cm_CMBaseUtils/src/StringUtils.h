#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Text helpers that the whole system shares.
class CStringUtils {
 public:
  /// `text` without the white space (`isspace`) before its first and after its last other character.
  /// A text of only white space yields its first two characters, so one blank stays one blank and twenty
  /// become two; callers depend on that. An empty text yields an empty text.
  static std::string trim_string(const std::string& text);

  /// `text` from its `offset`-th character on: what the trace lines show whose texts are advanced by a number
  /// instead of followed by it. Any offset outside the text, negative ones included, yields an empty text.
  static std::string shifted(std::string_view text, std::int64_t offset);

  /// The text in a fixed-width field: the bytes up to the first NUL, or all `field` holds when there is none.
  static std::string fixedWidthText(std::string_view field);
};
