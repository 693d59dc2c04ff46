#include "Verdict.h"

#include <gmock/gmock.h>

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
    const tool::Reading reading = tool::readVerdict(verdict(R"({"state": ")" + word + R"("})"));
    ASSERT_TRUE(reading.document.has_value()) << word;
    EXPECT_EQ(reading.document->records.at(0).outcome, outcome);
  }
  EXPECT_EQ(tool::outcomeNamed("fine"), std::nullopt);
  EXPECT_TRUE(tool::isFailure(tool::Outcome::kStale));
  EXPECT_FALSE(tool::isFailure(tool::Outcome::kUndecided));
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
    {verdict(R"({"code": 99999999999})"), "drive 1: code is no number"},
    {verdict(R"({"code": 1.5})"), "drive 1: code is no number"},
};

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
