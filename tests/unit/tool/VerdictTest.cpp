#include "Verdict.h"

#include <gmock/gmock.h>

#include "DocumentReader.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::string verdict(const std::string& drives) {
  return R"({"format": "nvmepcissd-verdict", "version": 1, "run": "7", "outcome": "failed", "drives": [)" +
         drives + "]}";
}

TEST(Verdict, TellsStateAndBothRevisions) {
  const tool::Reading reading = tool::readDocument(verdict(
      R"({"serial": "S1", "name": "One", "model": "M", "pci": {"vendor": "f101", "device": "a801", "subVendor": "f1a0",
          "subDevice": "1"}, "before": "R1", "after": "R2", "state": "updated", "code": null, "reason": null},
         {"serial": null, "model": "M", "before": "R1", "after": null, "state": "failed", "code": 263,
          "reason": "Invalid Firmware Image", "identifiedBy": "log"}, {})"));
  ASSERT_TRUE(reading.document.has_value()) << reading.problem;
  EXPECT_EQ(reading.document->kind, tool::DocumentKind::kVerdict);
  const auto& drives = reading.document->records;
  ASSERT_EQ(drives.size(), 3U);
  EXPECT_EQ(drives[0].outcome, tool::Outcome::kUpdated);
  EXPECT_EQ(drives[0].serialNumber(), "S1");
  EXPECT_EQ(drives[0].name, "One");
  EXPECT_EQ(drives[0].pciText(), "f101:a801 f1a0:1");
  EXPECT_EQ(drives[0].revision, "R1");
  EXPECT_EQ(drives[0].latestRevision(), "R2");
  EXPECT_EQ(drives[1].outcome, tool::Outcome::kFailed);
  EXPECT_EQ(drives[1].name, "M");
  EXPECT_EQ(drives[1].messageId, 263);
  EXPECT_EQ(drives[1].message, "Invalid Firmware Image");
  EXPECT_EQ(drives[1].latestRevision(), "R1");
  EXPECT_EQ(drives[2].outcome, tool::Outcome::kListed);
}

TEST(Verdict, KnowsEveryStateByItsWord) {
  for (const tool::Outcome outcome : tool::allOutcomes()) {
    const std::string word = tool::outcomeName(outcome);
    EXPECT_EQ(tool::outcomeNamed(word), outcome) << word;
    const tool::Reading reading = tool::readDocument(verdict(R"({"state": ")" + word + R"("})"));
    ASSERT_TRUE(reading.document.has_value()) << word;
    EXPECT_EQ(reading.document->records.at(0).outcome, outcome);
  }
  EXPECT_EQ(tool::outcomeNamed("fine"), std::nullopt);
  EXPECT_TRUE(tool::isFailure(tool::Outcome::kStale));
  EXPECT_FALSE(tool::isFailure(tool::Outcome::kUndecided));
}

TEST(Verdict, ReadsBackWhatItWrites) {
  const tool::DriveVerdict full{.serial = "S1",
                                .name = "One",
                                .model = "M",
                                .pci = tool::PciIds{"f101", "a801", "f1a0", "1"},
                                .address = "41:02.0",
                                .before = "R1",
                                .after = "R1",
                                .staged = "R2",
                                .wanted = "R2",
                                .state = tool::Outcome::kStaged,
                                .code = -16,
                                .reason = "waits \"for\" a reset",
                                .identifiedBy = tool::IdentifiedBy::kOrder};
  const tool::Verdict verdict{.run = "7",
                              .outcome = tool::RunOutcome::kRefused,
                              .reasons = {"one", "two"},
                              .bootId = "b",
                              .wasInterrupted = true,
                              .drives = {full, {}}};
  const tool::VerdictReading reading = tool::readVerdict(tool::toJson(verdict));
  ASSERT_TRUE(reading.verdict.has_value()) << reading.problem;
  EXPECT_EQ(*reading.verdict, verdict);
}

TEST(Verdict, WritesBytesThatAreNoTextAsReplacements) {
  const tool::Verdict odd{.drives = {{.serial = "A\xFF"}}};
  const tool::VerdictReading reading = tool::readVerdict(tool::toJson(odd));
  ASSERT_TRUE(reading.verdict.has_value()) << reading.problem;
  EXPECT_EQ(reading.verdict->drives[0].serial, "A\uFFFD");
}

TEST(Verdict, ComesToTheWorstOfItsStates) {
  using enum tool::Outcome;
  const std::pair<std::vector<tool::Outcome>, int> kCases[] = {{{kUpdated, kStaged, kCurrent}, 0},
                                                               {{}, 3},
                                                               {{kUpdated, kUnchanged}, 3},
                                                               {{kUntouched}, 3},
                                                               {{kUndecided, kFailed}, 1},
                                                               {{kUpdated, kMissing}, 1},
                                                               {{kStale, kRefused}, 1},
                                                               {{kUpdated, kRefused}, 4},
                                                               {{kUnhealthy, kUndecided}, 4}};
  for (const auto& [states, status] : kCases) {
    tool::Verdict verdict;
    for (const tool::Outcome state : states) verdict.drives.push_back({.state = state});
    conclude(verdict);
    EXPECT_EQ(exitStatusOf(verdict.outcome), status) << tool::toJson(verdict);
    EXPECT_EQ(verdict.outcome == tool::RunOutcome::kDone, status == 0);
  }
}

struct Bad {
  std::string content;
  const char* problem;
};

const Bad kBad[] = {
    {"{", "is no JSON: "},
    {"{} x", "is no JSON: "},
    {"{\"drives\": [\xFF]}", "is no JSON: "},
    {R"({"version": 2, "drives": []})", "is not a verdict of version 1"},
    {R"({"drives": []})", "is not a verdict of version 1"},
    {verdict("5"), "drive 1: it is no object"},
    {verdict(R"({}, {"state": "fine"})"), "drive 2: state is \"fine\", which is none"},
    {verdict(R"({"state": 5})"), "drive 1: state is no text"},
    {verdict(R"({"pci": "f101"})"), "drive 1: pci is no object"},
    {verdict(R"({"pci": {"vendor": 1}})"), "drive 1: vendor is no text"},
    {verdict(R"({"code": 2147483648})"), "drive 1: code is no number"},
    {verdict(R"({"code": -2147483649})"), "drive 1: code is no number"},
    {verdict(R"({"code": 1.5})"), "drive 1: code is no number"},
    {verdict(R"({"identifiedBy": "luck"})"), "drive 1: identifiedBy is \"luck\", which is none"},
    {R"({"version": 1, "drives": [], "outcome": "fine"})", "outcome is \"fine\", which is none"},
    {R"({"version": 1, "drives": [], "exitStatus": 6})", "exitStatus is 6, with which nothing ends"},
    {R"({"version": 1, "drives": [], "interrupted": 1})", "interrupted is no boolean"},
    {R"({"version": 1, "drives": [], "reasons": {}})", "reasons is no array"},
    {R"({"version": 1, "drives": [], "reasons": [1]})", "reasons holds something"},
};

TEST(Verdict, TakesEveryCodeOf32Bits) {
  for (const std::int32_t code : {-2147483647 - 1, 2147483647}) {
    const auto reading = tool::readVerdict(verdict(R"({"code": )" + std::to_string(code) + "}"));
    ASSERT_TRUE(reading.verdict.has_value()) << reading.problem;
    EXPECT_EQ(reading.verdict->drives.at(0).code, code);
  }
}

TEST(Verdict, SaysWhatIsWrongWithIt) {
  for (const auto& [content, problem] : kBad) {
    const tool::Reading reading = tool::readDocument(content);
    EXPECT_FALSE(reading.document.has_value()) << content;
    EXPECT_FALSE(reading.foreign) << content;
    EXPECT_THAT(reading.problem, StartsWith(problem)) << content;
  }
  EXPECT_TRUE(tool::readVerdict("[]").foreign);
  EXPECT_TRUE(tool::readVerdict(R"({"drives": 5})").foreign);
  EXPECT_THAT(tool::readVerdict("{}").problem, HasSubstr("it has no drives"));
}

}  // namespace
