// What becomes of planned drives: after a flash, and after a reset.

#include "Judgement.h"

#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

using testing::ElementsAre;
using tool::Document;
using tool::DocumentKind;
using tool::DriveVerdict;
using tool::Outcome;
using tool::Record;
using tool::Verdict;

namespace {

const tool::PciIds kModel{"a", "b", "c", "d"};

DriveVerdict planned(const std::string& serial, Outcome state, std::optional<std::string> wanted = {}) {
  return {.serial = serial, .pci = kModel, .before = "OLD", .wanted = std::move(wanted), .state = state};
}

Record record(const std::string& serial, const std::string& revision, Outcome outcome = Outcome::kListed) {
  return {.outcome = outcome, .pci = kModel, .enumId = serial, .revision = revision};
}

Document inventory(std::vector<Record> records) {
  return {.kind = DocumentKind::kInventory, .records = std::move(records)};
}

Document update(std::vector<Record> records) {
  return {.kind = DocumentKind::kUpdate, .records = std::move(records)};
}

/// What becomes of S1 and S2, which ran OLD and were flashed with success, when they run these revisions
/// then.
Verdict judgeBoth(const Verdict& plan, const std::string& first, const std::string& second) {
  return tool::judgeFlash(
      plan,
      {.before = inventory({record("S1", "OLD"), record("S2", "OLD")}),
       .update = update({record("S1", "OLD", Outcome::kSuccess), record("S2", "OLD", Outcome::kSuccess)}),
       .after = inventory({record("S1", first), record("S2", second)})});
}

std::vector<Outcome> statesOf(const Verdict& verdict) {
  std::vector<Outcome> states;
  for (const DriveVerdict& drive : verdict.drives) states.push_back(drive.state);
  return states;
}

std::vector<std::string> serialsOf(const Verdict& verdict) {
  std::vector<std::string> serials;
  for (const DriveVerdict& drive : verdict.drives) serials.push_back(drive.serial.value_or("-"));
  return serials;
}

/// A drive of a verdict, `staged` or not, that ran OLD before.
Verdict verdictOf(Outcome state, std::optional<std::string> wanted = {}) {
  Verdict verdict;
  verdict.drives.push_back(planned("S1", state, std::move(wanted)));
  return verdict;
}

}  // namespace

TEST(JudgeFlash, DrivesThatWereLeftOutKeepTheirPlan) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kRefused), planned("S2", Outcome::kFlash),
                 planned("S3", Outcome::kCurrent)};
  const Verdict verdict = tool::judgeFlash(
      plan, {.before = inventory({record("S1", "OLD"), record("S2", "OLD"), record("S3", "OLD")}),
             .update = update({record("S2", "OLD", Outcome::kSuccess)}),
             .after = inventory({record("S1", "OLD"), record("S2", "NEW"), record("S3", "OLD")}),
             .isNarrowed = true});
  EXPECT_THAT(serialsOf(verdict), ElementsAre("S1", "S2", "S3"));
  EXPECT_THAT(statesOf(verdict), ElementsAre(Outcome::kRefused, Outcome::kUpdated, Outcome::kCurrent));
  EXPECT_EQ(verdict.drives[0].after, "OLD");
  EXPECT_EQ(verdict.outcome, tool::RunOutcome::kRefused);
}

TEST(JudgeFlash, AFailureCountsForMoreThanARefusal) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kRefused), planned("S2", Outcome::kFlash)};
  const Verdict verdict =
      tool::judgeFlash(plan, {.before = inventory({record("S1", "OLD"), record("S2", "OLD")}),
                              .update = update({{.outcome = Outcome::kFailed}}),
                              .after = inventory({record("S1", "OLD"), record("S2", "OLD")}),
                              .isNarrowed = true});
  EXPECT_THAT(statesOf(verdict), ElementsAre(Outcome::kRefused, Outcome::kFailed));
  EXPECT_EQ(verdict.outcome, tool::RunOutcome::kFailed);
}

TEST(JudgeFlash, EachDriveIsHeldAgainstItsOwnRevision) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kFlash, "NEW"), planned("S2", Outcome::kFlash, "NEWER")};
  const Verdict verdict = judgeBoth(plan, "NEW", "NEW");
  EXPECT_THAT(statesOf(verdict), ElementsAre(Outcome::kUpdated, Outcome::kUndecided));
  EXPECT_EQ(verdict.drives[1].wanted, "NEWER");
}

TEST(JudgeFlash, ADriveThatRanTheWantedRevisionBeforeIsCurrent) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kFlash, "OLD"), planned("S2", Outcome::kFlash, "NEW")};
  const Verdict verdict = judgeBoth(plan, "OLD", "NEW");
  EXPECT_THAT(statesOf(verdict), ElementsAre(Outcome::kCurrent, Outcome::kUpdated));
}

TEST(JudgeFlash, ADriveThatWasFlashedAgainInVainStaysStaged) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kStaged), planned("S2", Outcome::kFlash)};
  plan.drives[0].staged = "NEW";
  plan.drives[0].reason = "restart the server";
  const Verdict verdict = judgeBoth(plan, "OLD", "NEW");
  EXPECT_THAT(statesOf(verdict), ElementsAre(Outcome::kStaged, Outcome::kUpdated));
  EXPECT_EQ(verdict.drives[0].staged, "NEW");
  EXPECT_EQ(verdict.drives[0].reason, "restart the server");
}

TEST(JudgeFlash, WhatThePlanKnowsFillsWhatDocumentsLack) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kFlash)};
  plan.drives[0].address = "0000:41:00.0";
  const Verdict verdict =
      tool::judgeFlash(plan, {.before = inventory({record("S1", "")}),
                              .update = update({record("S1", "", Outcome::kSuccess)}),
                              .after = inventory({{.outcome = Outcome::kFailed}, record("S1", "NEW")})});
  ASSERT_EQ(verdict.drives.size(), 1U);
  EXPECT_EQ(verdict.drives[0].address, "0000:41:00.0");
  EXPECT_EQ(verdict.drives[0].before, "OLD");
  EXPECT_EQ(verdict.drives[0].after, "NEW");
}

TEST(JudgeFlash, WithoutAnyRecordNothingIsGuessed) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kFlash)};
  const Verdict verdict = tool::judgeFlash(plan, {.before = inventory({record("S1", "OLD")})});
  EXPECT_THAT(statesOf(verdict), ElementsAre(Outcome::kUndecided));
  EXPECT_EQ(verdict.outcome, tool::RunOutcome::kUndecided);
}

TEST(JudgeFlash, ThePlanStandsInForALostInventory) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kFlash), planned("S2", Outcome::kFlash)};
  for (DriveVerdict& drive : plan.drives) drive.before = "OLD";
  const Verdict verdict =
      tool::judgeFlash(plan, {.after = inventory({record("S1", "NEW"), record("S2", "OLD")})});
  EXPECT_THAT(serialsOf(verdict), ElementsAre("S1", "S2"));
  EXPECT_THAT(statesOf(verdict), ElementsAre(Outcome::kUpdated, Outcome::kUndecided));
  EXPECT_EQ(verdict.outcome, tool::RunOutcome::kUndecided);
}

TEST(JudgeFlash, ANewRevisionThatIsNotTheWantedOneStaysOpen) {
  Verdict plan;
  plan.drives = {planned("S1", Outcome::kFlash, "NEW")};
  const Verdict verdict = tool::judgeFlash(
      plan, {.before = inventory({record("S1", "OLD")}), .after = inventory({record("S1", "OTHER")})});
  EXPECT_THAT(statesOf(verdict), ElementsAre(Outcome::kUndecided));
}

struct ResetCase {
  Outcome before;
  std::optional<std::string> wanted;
  const char* runs;
  Outcome after;
};

TEST(JudgeReset, TellsWhatAResetHasMadeOfADrive) {
  const std::vector<ResetCase> cases = {
      {Outcome::kStaged, "NEW", "NEW", Outcome::kUpdated},
      {Outcome::kStaged, "NEW", "OLD", Outcome::kStale},
      {Outcome::kStaged, "NEW", "ODD", Outcome::kUndecided},
      {Outcome::kStaged, std::nullopt, "NEW", Outcome::kUpdated},
      {Outcome::kStaged, std::nullopt, "OLD", Outcome::kStale},
      {Outcome::kUnchanged, std::nullopt, "NEW", Outcome::kUpdated},
      {Outcome::kUnchanged, std::nullopt, "OLD", Outcome::kUnchanged},
      {Outcome::kFailed, std::nullopt, "NEW", Outcome::kFailed},
      {Outcome::kRefused, std::nullopt, "NEW", Outcome::kRefused},
  };
  for (const ResetCase& each : cases) {
    Verdict verdict = verdictOf(each.before, each.wanted);
    tool::judgeReset(verdict, inventory({record("S1", each.runs)}), {true});
    EXPECT_EQ(verdict.drives[0].state, each.after) << outcomeName(each.before) << " runs " << each.runs;
  }
}

TEST(JudgeReset, ADriveThatWasNotResetStaysAsItIs) {
  Verdict verdict = verdictOf(Outcome::kStaged);
  tool::judgeReset(verdict, inventory({record("S1", "OLD")}), {false});
  EXPECT_EQ(verdict.drives[0].state, Outcome::kStaged);
}

TEST(JudgeReset, ADriveThatIsGoneIsMissing) {
  Verdict verdict = verdictOf(Outcome::kStaged);
  tool::judgeReset(verdict, inventory({record("S2", "OLD")}), {true});
  EXPECT_EQ(verdict.drives[0].state, Outcome::kMissing);
  EXPECT_EQ(verdict.outcome, tool::RunOutcome::kFailed);
}

TEST(JudgeReset, ADriveThatDoesNotTellIsUndecided) {
  Verdict verdict = verdictOf(Outcome::kStaged);
  tool::judgeReset(verdict, inventory({record("S1", "")}), {true});
  EXPECT_EQ(verdict.drives[0].state, Outcome::kUndecided);
}
