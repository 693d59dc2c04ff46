#include "Table.h"

#include <gmock/gmock.h>

#include <random>
#include <sstream>

#include "NaturalOrder.h"
#include "SampleDocuments.h"
#include "TerminalText.h"
#include "TestSupport.h"

using namespace samples;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace {

class Table : public testing::Test {
 protected:
  static std::string table(const std::vector<std::string>& documents, const tool::TableLayout& layout = {},
                           const std::string& sort = "") {
    const tool::Results results = tool::readResults(write(documents));
    std::vector<tool::ResultRow> rows = tool::rowsOf(results);
    if (!sort.empty()) tool::sortBy(sort, rows);
    std::ostringstream out;
    tool::writeTable(out, rows, layout);
    return out.str();
  }

  static std::size_t widest(const std::string& text) {
    std::istringstream lines(text);
    std::size_t width = 0;
    for (std::string line; std::getline(lines, line);) width = std::max(width, tool::terminalWidth(line));
    return width;
  }

  WorkingFolder m_folder;
};

TEST_F(Table, ShowsFailedRecordsFirst) {
  EXPECT_EQ(table({inventory(listed("S1") + failed()), update(updated("S2"))}),
            "DOCUMENT  #  OUTCOME  REVISION  NAME  SERIAL NUMBER  PCI IDS              MESSAGE\n"
            "1.xml     2  failed                                                       It broke\n"
            "1.xml     1  listed   R1        One   S1             f101:a801 f1a0:1001\n"
            "2.xml     1  success  R1        One   S2             f101:a801 f1a0:1001  Success\n");
  EXPECT_EQ(table({inventory("")}), "");
}

TEST_F(Table, AlignsColumnsAndKeepsTerminalsSafe) {
  EXPECT_EQ(table({inventory(component("1",
                                       "Gr\xC3\xB6\xC3\x9F"
                                       "e") +
                             component("22", "a\xC2\x9B\x62"))}),
            "DOCUMENT  #  OUTCOME  REVISION  NAME   COMPONENT\n"
            "1.xml     1  listed   3.1       Gr\xC3\xB6\xC3\x9F"
            "e  1\n"
            "1.xml     2  listed   3.1       a.b    22\n");
}

TEST_F(Table, StaysATableInEightyColumns) {
  std::string drives = failed("ERROR: Failed to Update Firmware");
  for (int i = 0; i < 300; ++i)
    drives += updated("SIM" + std::to_string(1000000 + i), "Sample NVMe SSD S1 400GB 2.5in",
                      "R" + std::to_string(i % 2));
  const std::string text = table({update(drives)}, {.terminal = {.columns = 80}});
  EXPECT_LE(widest(text.substr(text.find("\n\n"))), 80U) << text;
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
            301 + 3);  // rows, common line, blank line, titles
  EXPECT_THAT(text, HasSubstr("NAME Sample NVMe SSD S1 400GB 2.5in; PCI IDS f101:a801 f1a0:1001\n\n"));
}

TEST_F(Table, ShortensTextsThenLeavesColumnsOut) {
  const std::vector<std::string> documents{
      inventory(listed("SIM0000000000000001", "A long name of a drive") + component("7", "Another name")),
      update(failed("ERROR: Failed to Update Firmware") + updated("SIM0000000000000002", "Third", "R2"))};
  for (const std::size_t columns : {120U, 100U, 80U, 72U}) {
    const std::string text = table(documents, {.terminal = {.columns = columns}});
    EXPECT_LE(widest(text), columns) << text;
    EXPECT_THAT(text, HasSubstr("SIM0000000000000001")) << "a serial number is never shortened";
    EXPECT_THAT(text, HasSubstr("ERROR: Fa")) << text;
  }
  EXPECT_THAT(table(documents, {.terminal = {.columns = 80}}), HasSubstr("\nLeft out: NAME; --full"));
  EXPECT_EQ(table(documents, {.terminal = {.columns = 80}, .full = true}), table(documents));
}

TEST_F(Table, ShowsTheColumnsThatAreAskedFor) {
  EXPECT_EQ(table({inventory(listed("S2") + listed("S1"))}, {.columns = {"serial", "outcome", "after"}}),
            "SERIAL NUMBER  OUTCOME  AFTER\n"
            "S2             listed\n"
            "S1             listed\n");
  EXPECT_THROW(table({inventory(listed("S2"))}, {.columns = {"colour"}}), std::invalid_argument);
}

TEST_F(Table, SortsByAnyColumn) {
  EXPECT_EQ(table({inventory(listed("S10") + failed() + listed("S9"))}, {.columns = {"serial"}}, "serial"),
            "SERIAL NUMBER\n\nS9\nS10\n");
}

TEST_F(Table, UsesColourOnlyWhenAskedFor) {
  const std::vector<std::string> documents{inventory(listed("S1") + failed())};
  EXPECT_THAT(table(documents), Not(HasSubstr("\033")));
  EXPECT_THAT(table(documents, {.terminal = {.colour = true}}), HasSubstr("\033[31m1.xml     2  failed"));
  EXPECT_THAT(table({verdict(R"({"state": "undecided"})", "")}, {.terminal = {.colour = true}}),
              HasSubstr("\033[33m1.xml     1  undecided"));
}

TEST(NaturalOrder, ReadsNumbersAsNumbers) {
  std::vector<std::string> texts{
      "bay 10", "Bay 9", "", "bay", "bay 09", "a99999999999999999999", "a100000000000000000000", "b"};
  std::sort(texts.begin(), texts.end(), tool::naturallyLess);
  EXPECT_THAT(texts, ElementsAre("", "a99999999999999999999", "a100000000000000000000", "b", "bay", "Bay 9",
                                 "bay 09", "bay 10"));
}

TEST(NaturalOrder, IsAnOrder) {
  std::mt19937 random(7);
  std::vector<std::string> texts;
  for (int i = 0; i < 60; ++i) {
    std::string& text = texts.emplace_back();
    for (auto length = random() % 5; length > 0; --length) text += "019aB-"[random() % 6];
  }
  for (const std::string& a : texts) {
    for (const std::string& b : texts) {
      EXPECT_EQ(tool::naturallyLess(a, b) || tool::naturallyLess(b, a), a != b) << a << ' ' << b;
      if (!tool::naturallyLess(a, b)) continue;
      EXPECT_FALSE(tool::naturallyLess(b, a)) << a << ' ' << b;
      for (const std::string& c : texts) {
        if (tool::naturallyLess(b, c)) {
          EXPECT_TRUE(tool::naturallyLess(a, c)) << a << ' ' << b << ' ' << c;
        }
      }
    }
  }
}

TEST(Shortened, KeepsToTheWidth) {
  using tool::Shorten;
  EXPECT_EQ(tool::shortened("abcdefgh", 8, Shorten::kBack), "abcdefgh");
  EXPECT_EQ(tool::shortened("abcdefgh", 6, Shorten::kBack), "abc...");
  EXPECT_EQ(tool::shortened("abcdefgh", 6, Shorten::kFront), "...fgh");
  EXPECT_EQ(tool::shortened("abcdefgh", 2, Shorten::kFront), "..");
  EXPECT_EQ(tool::shortened("\xE5\xAE\xB9\xE5\xAE\xB9\xE5\xAE\xB9\xE5\xAE\xB9", 6, Shorten::kBack),
            "\xE5\xAE\xB9...");
  EXPECT_EQ(tool::shortened("e\xCC\x81"
                            "abcdef",
                            5, Shorten::kBack),
            "e\xCC\x81"
            "a...");
}

}  // namespace
