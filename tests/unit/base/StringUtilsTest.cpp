#include "StringUtils.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

using namespace std::string_literals;
using namespace std::string_view_literals;

namespace {

TEST(TrimString, CutsWhiteSpaceAtBothEndsAndKeepsASmallRestOfNothing) {
  const struct {
    std::string text;
    std::string trimmed;
  } kCases[] = {
      // nothing to cut
      {"S3XYZ", "S3XYZ"},
      {"x", "x"},
      {"two words", "two words"},
      // one end, both ends
      {"S3XYZ   ", "S3XYZ"},
      {"   S3XYZ", "S3XYZ"},
      {"  S3XYZ  ", "S3XYZ"},
      {" x", "x"},
      {"x ", "x"},
      {" x ", "x"},
      {"  two  words  ", "two  words"},
      // every kind of white space, also between words
      {"\t\n\v\f\r S3XYZ \r\f\v\n\t", "S3XYZ"},
      {"\ta\tb\nc\n", "a\tb\nc"},
      // other bytes are text: NUL, control bytes, bytes above 0x7f
      {" \0 "s, "\0"s},
      {" a\0b "s, "a\0b"s},
      {"\x01 \x1f", "\x01 \x1f"},
      {" \x85\xa0\xff ", "\x85\xa0\xff"},
      // white space alone leaves its first two characters
      {"", ""},
      {" ", " "},
      {"\t", "\t"},
      {"  ", "  "},
      {"\n\t", "\n\t"},
      {"\t\n ", "\t\n"},
      {"                    ", "  "},
  };
  for (const auto& [text, trimmed] : kCases) {
    EXPECT_EQ(CStringUtils::trim_string(text), trimmed) << "of '" << text << "'";
  }
}

TEST(TrimString, ReadsALongText) {
  const std::string core = "x" + std::string(100'000, ' ') + "y";
  EXPECT_EQ(CStringUtils::trim_string(std::string(70'000, '\t') + core + std::string(70'000, '\n')), core);
}

TEST(Shifted, GivesTheTextFromTheOffsetOnAndNothingOutsideIt) {
  constexpr std::string_view kText = "Found a NVMePCISSD with drive number ";
  const struct {
    std::int64_t offset;
    std::string rest;
  } kCases[] = {
      {0, "Found a NVMePCISSD with drive number "},
      {1, "ound a NVMePCISSD with drive number "},
      {30, "number "},
      {36, " "},
      {37, ""},
      {38, ""},
      {1000, ""},
      {-1, ""},
      {std::int64_t{1} << 32, ""},
      {std::numeric_limits<std::int64_t>::max(), ""},
      {std::numeric_limits<std::int64_t>::min(), ""},
  };
  for (const auto& [offset, rest] : kCases) {
    EXPECT_EQ(CStringUtils::shifted(kText, offset), rest) << "at " << offset;
  }
  EXPECT_EQ(CStringUtils::shifted("", 0), "");
}

TEST(FixedWidthText, EndsAtTheFirstNulOrAtTheFieldsEnd) {
  const struct {
    std::string_view field;
    std::string text;
  } kCases[] = {
      {"EXF0101Q"sv, "EXF0101Q"},
      {"EXF01\0\0\0"sv, "EXF01"},
      {"EXF01   "sv, "EXF01   "},
      {"EX\0F01\0Q"sv, "EX"},
      {"\0XF0101Q"sv, ""},
      {"\0\0\0\0\0\0\0\0"sv, ""},
      {""sv, ""},
      {"\xff\x80"sv, "\xff\x80"},
  };
  for (const auto& [field, text] : kCases) {
    EXPECT_EQ(CStringUtils::fixedWidthText(field), text) << "of '" << field << "'";
  }
}

}  // namespace
