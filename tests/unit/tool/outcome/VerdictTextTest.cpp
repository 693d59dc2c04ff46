#include "VerdictText.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>

namespace {

using tool::Outcome;
using tool::Verdict;

std::string shown(const Verdict& verdict, const tool::Terminal& terminal = {}) {
  std::ostringstream out;
  tool::writeVerdict(out, verdict, terminal);
  return out.str();
}

TEST(VerdictText, ShowsDrivesReasonsAndOneSentence) {
  const Verdict verdict{
      .reasons = {"the log is of another run"},
      .drives = {{.serial = "S1", .name = "One", .before = "R1", .after = "R2", .state = Outcome::kUpdated},
                 {.serial = "S2", .state = Outcome::kFailed, .reason = "-EBUSY"},
                 {.serial = "S3", .state = Outcome::kFailed, .reason = "-EBUSY"}}};
  EXPECT_EQ(shown(verdict),
            "SERIAL  NAME  BEFORE  NOW  STATE\n"
            "S1      One   R1      R2   updated\n"
            "S2      -     -       -    failed\n"
            "S3      -     -       -    failed\n"
            "failed (2): -EBUSY\n"
            "note: the log is of another run\n"
            "3 drives: 2 failed, 1 updated.\n");
}

TEST(VerdictText, FitsEightyColumnsWhateverTheDrivesSay) {
  const std::string text(100, 'x');
  const Verdict verdict{
      .reasons = {text + ' ' + text},
      .drives = {{.serial = text, .name = text, .before = text, .after = text, .reason = "a b"},
                 {.serial = "S\n\x1b[31m", .name = "\xFF"}}};
  std::istringstream lines(shown(verdict));
  std::size_t longest = 0;
  for (std::string line; std::getline(lines, line) && !line.starts_with("undecided");)
    longest = std::max(longest, line.size());
  EXPECT_EQ(longest, 80U);
  EXPECT_NE(shown(verdict).find("S..[31m"), std::string::npos) << "what a terminal would obey";
  EXPECT_GT(shown(verdict, {.columns = 120}).find('\n'), 80U) << "a wider terminal is used";
}

TEST(VerdictText, ColoursOnlyWhereAsked) {
  const Verdict verdict{.drives = {{.state = Outcome::kUpdated}, {.state = Outcome::kFailed}, {}}};
  EXPECT_EQ(shown(verdict).find('\033'), std::string::npos);
  const std::string coloured = shown(verdict, {.colour = true});
  EXPECT_NE(coloured.find("\033[32mupdated\033[0m"), std::string::npos);
  EXPECT_NE(coloured.find("\033[31mfailed\033[0m"), std::string::npos);
  EXPECT_NE(coloured.find("\033[33mundecided\033[0m"), std::string::npos);
}

TEST(VerdictText, SaysThatThereAreNoDrives) {
  EXPECT_EQ(shown({}), "No drives: nothing can be said.\n");
}

}  // namespace
