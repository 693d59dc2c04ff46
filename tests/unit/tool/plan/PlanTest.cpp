#include "Plan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "PlanSamples.h"

namespace tool {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

/// Two drives, S1 and S2, that run OLD, with our own drive library; a test changes what it is about.
class PlanTest : public ::testing::Test {
 protected:
  PlanTest() { policy().to = "NEW"; }

  PolicyRule& policy() { return m_policy.rules.at(0); }

  Plan plan() const {
    return planUpdate({.inventory = m_inventory,
                       .kernel = m_kernel,
                       .policy = m_policy,
                       .payload = m_payload,
                       .obeysList = m_obeysList,
                       .earlier = m_earlier});
  }

  /// Why the first drive is not flashed, with our own library and with one that takes no list.
  std::string reason() {
    const Plan plan = this->plan();
    EXPECT_EQ(plan.verdict.outcome, RunOutcome::kRefused);
    return plan.verdict.drives.at(0).reason;
  }

  std::vector<Record> m_inventory{listed("S1"), listed("S2")};
  std::vector<DriveFacts> m_kernel{known("S1", 1), known("S2", 2)};
  Policy m_policy;
  Payload m_payload{.name = "new.bin", .sha256 = std::string(64, 'a')};
  bool m_obeysList = true;
  std::vector<EarlierFlash> m_earlier;
};

TEST_F(PlanTest, DrivesThatRunAnotherRevisionAreFlashed) {
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "flash flash");
  EXPECT_EQ(plan.toFlash(), 2U);
  EXPECT_EQ(plan.verdict.outcome, RunOutcome::kDone);
  EXPECT_THAT(plan.verdict.reasons, IsEmpty());
  EXPECT_EQ(plan.allowed, std::nullopt) << "nothing is left out";
  EXPECT_THAT(plan.facts, ElementsAre(&m_kernel[0], &m_kernel[1]));
  const DriveVerdict& drive = plan.verdict.drives[0];
  EXPECT_EQ(drive.serial, "S1");
  EXPECT_EQ(drive.name, "Sample drive");
  EXPECT_EQ(drive.model, "Model A");
  EXPECT_EQ(drive.pci, kModelA);
  EXPECT_EQ(drive.address, "0000:01:00.0");
  EXPECT_EQ(drive.before, "OLD");
  EXPECT_EQ(drive.wanted, "NEW");
  EXPECT_EQ(drive.after, std::nullopt);
  EXPECT_EQ(drive.staged, std::nullopt);
}

TEST_F(PlanTest, WithoutAWantedRevisionEveryDriveIsFlashed) {
  policy().to.reset();
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "flash flash");
  EXPECT_EQ(plan.verdict.drives[0].wanted, std::nullopt);
}

TEST_F(PlanTest, DrivesThatTheKernelDoesNotKnowAreNotRefusedForThat) {
  m_kernel.clear();
  m_obeysList = false;
  policy().model = "Model A";
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "flash flash");
  EXPECT_THAT(plan.facts, ElementsAre(nullptr, nullptr));
  EXPECT_EQ(plan.verdict.drives[0].address, std::nullopt);
}

TEST_F(PlanTest, ADriveThatRunsTheWantedRevisionIsLeftOut) {
  m_inventory[0].revision = "NEW     ";
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "current flash");
  EXPECT_EQ(plan.verdict.outcome, RunOutcome::kDone);
  EXPECT_THAT(plan.allowed.value(), ElementsAre("S2"));
}

TEST_F(PlanTest, ACurrentDriveIsRefusedForNothing) {
  m_inventory = {listed("S1", "NEW")};
  m_kernel[0].criticalWarning = 1;
  m_kernel[0].uses = {mountedOn(m_kernel[0], "")};
  policy().from = {"OLD"};
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "current");
  EXPECT_EQ(plan.verdict.outcome, RunOutcome::kDone);
  EXPECT_EQ(plan.toFlash(), 0U);
  EXPECT_EQ(plan.allowed, std::nullopt);
}

TEST_F(PlanTest, ACurrentDriveTellsThatTheNextResetBringsSomethingElse) {
  m_inventory[0].revision = "NEW";
  m_kernel[0].slots = DriveSlots{.revisions = {"NEW", "ODD"}, .running = 1, .next = 2};
  const Plan plan = this->plan();
  EXPECT_EQ(plan.verdict.drives[0].state, Outcome::kCurrent);
  EXPECT_EQ(plan.verdict.drives[0].staged, "ODD");
  EXPECT_THAT(plan.verdict.drives[0].reason, HasSubstr("the next reset brings another one, ODD"));
}

TEST_F(PlanTest, ADriveThatHasTakenTheWantedRevisionIsLeftOut) {
  m_kernel[0].slots = DriveSlots{.revisions = {"OLD", "NEW"}, .running = 1, .next = 2};
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "staged flash");
  EXPECT_EQ(plan.verdict.drives[0].staged, "NEW");
  EXPECT_THAT(plan.allowed.value(), ElementsAre("S2"));
}

TEST_F(PlanTest, AnotherStagedRevisionIsReplaced) {
  m_kernel[0].slots = DriveSlots{.revisions = {"OLD", "ODD"}, .running = 1, .next = 2};
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "flash flash");
  EXPECT_THAT(plan.verdict.drives[0].reason, HasSubstr("ODD, which waits for a reset, is replaced"));
}

TEST_F(PlanTest, WithoutAWantedRevisionAnyStagedOneWillDo) {
  policy().to.reset();
  m_kernel[0].slots = DriveSlots{.revisions = {"OLD", ""}, .running = 1, .next = 2};
  EXPECT_EQ(states(plan()), "staged flash");
}

TEST_F(PlanTest, AnOwnRecordOfThisBootTellsOfDrivesWithoutSlots) {
  m_kernel.clear();
  m_obeysList = false;
  m_earlier = {{.serial = "S1", .pci = kModelA, .sha256 = m_payload.sha256, .revision = "NEW"},
               {.serial = "S2", .pci = kModelA, .sha256 = std::string(64, 'b'), .revision = "NEW"}};
  EXPECT_EQ(states(plan()), "staged flash") << "the second one took another payload";
}

TEST_F(PlanTest, WhatThisRunHasUpdatedIsCurrentWhileItRunsThat) {
  policy().to.reset();
  m_kernel.clear();
  m_earlier = {
      {.serial = "S1", .pci = kModelA, .sha256 = m_payload.sha256, .revision = "OLD", .isRunning = true},
      {.serial = "S2", .pci = kModelA, .sha256 = m_payload.sha256, .revision = "NEW", .isRunning = true}};
  EXPECT_EQ(states(plan()), "current flash") << "the second one runs something else now";
  EXPECT_EQ(plan().verdict.drives.at(0).reason, "this run has updated it before");
}

TEST_F(PlanTest, TheSlotsKnowBetterThanAnOwnRecord) {
  m_earlier = {{.serial = "S1", .pci = kModelA, .sha256 = m_payload.sha256, .revision = "NEW"}};
  EXPECT_EQ(states(plan()), "flash flash") << "a reset does not end the boot";
}

TEST_F(PlanTest, ADriveWithACriticalWarningIsUnhealthy) {
  m_kernel[0].criticalWarning = 0x0C;
  EXPECT_EQ(states(plan()), "unhealthy flash");
  EXPECT_EQ(reason(), "its SMART log has a critical warning: reliability degraded, media read-only");
}

TEST_F(PlanTest, ADriveThatIsBeingUpdatedIsUnhealthy) {
  m_kernel[0].slots->isUpdateInProgress = true;
  EXPECT_EQ(states(plan()), "unhealthy flash");
  EXPECT_THAT(reason(), HasSubstr("update of it is in progress"));
}

TEST_F(PlanTest, AKnownDriveThatTellsNoHealthIsRefused) {
  m_kernel[0].criticalWarning.reset();
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_THAT(reason(), HasSubstr("needs root"));
}

TEST_F(PlanTest, ADriveIsFlashedOnlyFromTheNamedRevisions) {
  policy().from = {"FIRST", "OLD"};
  m_inventory[0].revision = "ODD";
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_EQ(reason(), "it runs ODD, and the policy updates only from FIRST, OLD");
  m_inventory[0].revision = "";
  m_kernel[0].revision = "";
  EXPECT_EQ(reason(), "nobody knows what it runs, and the policy updates only from FIRST, OLD");
}

TEST_F(PlanTest, RevisionsToUpdateFromKeepNoDriveThatIsCurrent) {
  m_obeysList = false;
  m_kernel.clear();
  policy().from = {"OLD"};
  m_inventory[0].revision = "NEW";
  EXPECT_EQ(states(plan()), "current flash");
  EXPECT_EQ(plan().verdict.outcome, RunOutcome::kDone);
  policy().to.reset();
  EXPECT_EQ(states(plan()), "refused refused") << "nothing tells that it is what the update brings";
  m_earlier = {
      {.serial = "S1", .pci = kModelA, .sha256 = m_payload.sha256, .revision = "NEW", .isRunning = true}};
  EXPECT_EQ(states(plan()), "current flash") << "this run has updated it";
}

TEST_F(PlanTest, APackageThatAllowsNoUpdateFromTheRevisionIsHeeded) {
  m_kernel[0].isUpdateAllowed = false;
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_EQ(reason(), "it runs OLD, and package.xml allows no update from that");
}

TEST_F(PlanTest, OnlyTheNamedSerialNumbersAreFlashed) {
  m_policy.serials = {"S2", "S9"};
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "refused flash");
  EXPECT_THAT(plan.allowed.value(), ElementsAre("S2"));
  EXPECT_EQ(plan.verdict.outcome, RunOutcome::kRefused);
}

TEST_F(PlanTest, AModelWithoutARuleIsRefused) {
  policy().pci = kModelA;
  m_inventory[0].pci = kModelB;
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_EQ(reason(), "the policy has no rule for its model");
}

TEST_F(PlanTest, AModelWithAnotherPayloadIsRefused) {
  m_inventory[0].pci = kModelB;
  m_policy.rules = {{.pci = kModelB, .to = "NEW", .payload = "b.bin", .origin = "p.json:3"},
                    {.pci = kModelA, .to = "NEW", .payload = "firmware/new.bin"}};
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_EQ(reason(), "the policy has another payload for its model: b.bin (p.json:3)");
  m_policy.rules[0].payload.reset();
  m_policy.rules[0].sha256 = std::string(64, 'b');
  EXPECT_EQ(states(plan()), "refused flash") << "without a name the checksum tells";
}

TEST_F(PlanTest, ADriveThatTheInventoryCouldNotReadIsRefused) {
  m_inventory[0] = {.outcome = Outcome::kFailed, .message = "ERROR: it failed"};
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_THAT(reason(), HasSubstr("ERROR: it failed"));
  EXPECT_EQ(plan().verdict.drives[0].serial, std::nullopt);
  EXPECT_EQ(plan().verdict.drives[0].pci, std::nullopt);
}

TEST_F(PlanTest, ADriveThatMayBeOneOfSeveralIsRefused) {
  m_kernel.push_back(known("S1", 3));
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_THAT(reason(), HasSubstr("nothing tells which it is"));
}

}  // namespace

}  // namespace tool
