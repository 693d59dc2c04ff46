#include "TerminalText.h"

#include <gmock/gmock.h>

namespace {

struct Case {
  const char* what;
  std::string_view text;
  std::string_view shown;
  std::size_t width;
};

constexpr Case kCases[] = {
    {"nothing", "", "", 0},
    {"ASCII", "SIM 1", "SIM 1", 5},
    {"an accent", "\xC3\xA9", "\xC3\xA9", 1},
    {"a combining accent", "e\xCC\x81", "e\xCC\x81", 1},
    {"an ideograph", "\xE5\xAE\xB9", "\xE5\xAE\xB9", 2},
    {"beyond the first plane", "\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80", 2},
    {"an escape sequence", "\x1B[31mred", ".[31mred", 8},
    {"line breaks and tabs", "a\r\nb\tc\x7F", "a..b.c.", 7},
    {"a NUL", std::string_view("a\0b", 3), "a.b", 3},
    {"a C1 control",
     "\xC2\x9B"
     "1m",
     ".1m", 3},
    {"the direction turned",
     "a\xE2\x80\xAE"
     "b\xE2\x81\xA6"
     "c",
     "a.b.c", 5},
    {"marks of direction", "\xD8\x9C\xE2\x80\x8E\xE2\x80\x8F", "...", 3},
    {"a line separator", "\xE2\x80\xA8", ".", 1},
    {"no UTF-8", "\xFF\xC3", "..", 2},
    {"overlong", "\xC0\xAF", "..", 2},
    {"cut off", "a\xE5\xAE", "a..", 3},
};

TEST(TerminalText, ShowsTextsAndObeysNone) {
  for (const Case& c : kCases) {
    EXPECT_EQ(tool::forTerminal(c.text), c.shown) << c.what;
    EXPECT_EQ(tool::terminalWidth(c.shown), c.width) << c.what;
  }
}

}  // namespace
