// What a plan makes of drives in use, of gates for the whole run, and of libraries that cannot leave out a
// drive.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Plan.h"
#include "PlanSamples.h"

namespace tool {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

class PlanOfTwoDrives : public ::testing::Test {
 protected:
  PlanOfTwoDrives() { m_policy.rules.at(0).to = "NEW"; }

  void use(std::size_t drive, const std::string& array) {
    m_kernel.at(drive).uses = {mountedOn(m_kernel.at(drive), array)};
  }

  Plan plan() const {
    return planUpdate({.inventory = m_inventory,
                       .kernel = m_kernel,
                       .policy = m_policy,
                       .payload = m_payload,
                       .obeysList = m_obeysList});
  }

  std::string reasonOf(std::size_t drive) const { return plan().verdict.drives.at(drive).reason; }

  std::vector<Record> m_inventory{listed("S1"), listed("S2")};
  std::vector<DriveFacts> m_kernel{known("S1", 1), known("S2", 2)};
  Policy m_policy;
  Payload m_payload{.name = "new.bin", .sha256 = std::string(64, 'a')};
  bool m_obeysList = true;
};

using PlanInUse = PlanOfTwoDrives;
using PlanGates = PlanOfTwoDrives;
using PlanLibraries = PlanOfTwoDrives;

TEST_F(PlanInUse, ADriveWithoutAnotherLegIsRefused) {
  use(0, "");
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_EQ(reasonOf(0), "no other healthy leg holds what uses it: nvme1n1: mounted on /srv");
}

TEST_F(PlanInUse, ADriveWithAnotherLegIsFlashed) {
  use(0, "md0");
  EXPECT_EQ(states(plan()), "flash flash");
}

TEST_F(PlanInUse, EveryVolumeNeedsAnotherLeg) {
  m_kernel[0].uses = {mountedOn(m_kernel[0], "md0"), mountedOn(m_kernel[0], "")};
  EXPECT_EQ(states(plan()), "refused flash");
}

TEST_F(PlanInUse, OneLegOfAnArrayIsFlashedInARun) {
  use(0, "md0");
  use(1, "md0");
  EXPECT_EQ(states(plan()), "flash refused");
  EXPECT_EQ(reasonOf(1), "another leg of md0 is flashed in this run, or waits for its reset");
  EXPECT_THAT(plan().allowed.value(), ElementsAre("S1"));
}

TEST_F(PlanInUse, TheOtherLegIsFlashedOnceTheFirstRunsTheFirmware) {
  use(0, "md0");
  use(1, "md0");
  m_inventory[0].revision = "NEW";
  EXPECT_EQ(states(plan()), "current flash");
}

TEST_F(PlanInUse, TheOtherLegWaitsForTheResetOfTheFirst) {
  use(0, "md0");
  use(1, "md0");
  m_kernel[1].slots = DriveSlots{.revisions = {"OLD", "NEW"}, .running = 1, .next = 2};
  EXPECT_EQ(states(plan()), "refused staged");
}

TEST_F(PlanInUse, LegsOfDifferentArraysAreFlashedTogether) {
  use(0, "md0");
  use(1, "md1");
  EXPECT_EQ(states(plan()), "flash flash");
}

TEST_F(PlanInUse, TwoPortsOfADriveAreOneLeg) {
  use(0, "md0");
  use(1, "md0");
  m_kernel[0].siblings = {"nvme2"};
  m_kernel[1].siblings = {"nvme1"};
  EXPECT_EQ(states(plan()), "flash flash");
}

TEST_F(PlanInUse, ARefusedLegLeavesTheOtherOneToBeFlashed) {
  use(0, "md0");
  use(1, "md0");
  m_kernel[0].criticalWarning = 1;
  EXPECT_EQ(states(plan()), "unhealthy flash");
}

TEST_F(PlanInUse, ADriveWhoseUseIsNotKnownIsRefused) {
  m_kernel[0].areUsesComplete = false;
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_EQ(reasonOf(0), "nobody can tell what uses it without root");
  use(0, "md0");
  EXPECT_EQ(states(plan()), "refused flash") << "there may be more";
}

TEST_F(PlanInUse, RefusingKeepsRedundantDrivesToo) {
  m_policy.inUse = InUse::kRefuse;
  use(0, "md0");
  EXPECT_EQ(states(plan()), "refused flash");
  EXPECT_THAT(reasonOf(0), HasSubstr("it is in use: nvme1n1 through md0: mounted on /srv"));
}

TEST_F(PlanInUse, AllowingAsksForNothing) {
  m_policy.inUse = InUse::kAllow;
  use(0, "md0");
  use(1, "md0");
  m_kernel[1].uses.push_back(mountedOn(m_kernel[1], ""));
  m_kernel[1].areUsesComplete = false;
  EXPECT_EQ(states(plan()), "flash flash");
}

TEST_F(PlanGates, AServerWithoutDrivesIsRefused) {
  m_inventory.clear();
  const Plan plan = this->plan();
  EXPECT_EQ(plan.verdict.outcome, RunOutcome::kRefused);
  EXPECT_THAT(plan.verdict.reasons, ElementsAre("the inventory lists no drive"));
}

TEST_F(PlanGates, AnotherNumberOfDrivesRefusesTheRun) {
  m_policy.expectDrives = 2;
  EXPECT_EQ(plan().verdict.outcome, RunOutcome::kDone);
  m_policy.expectDrives = 3;
  m_inventory[0].revision = "NEW";
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "current refused");
  EXPECT_EQ(plan.verdict.outcome, RunOutcome::kRefused);
  EXPECT_EQ(plan.allowed, std::nullopt);
  EXPECT_THAT(plan.verdict.reasons, ElementsAre("the policy expects 3 drives, and the inventory lists 2"));
}

TEST_F(PlanGates, APayloadWithAnotherChecksumRefusesTheRun) {
  m_policy.rules[0].sha256 = std::string(64, 'b');
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "refused refused");
  EXPECT_THAT(plan.verdict.reasons, ElementsAre(HasSubstr("its SHA-256 is " + m_payload.sha256)));
  EXPECT_THAT(reasonOf(0), HasSubstr("the whole run is refused: the payload new.bin"));
}

TEST_F(PlanGates, APayloadOfTheRightNameWithAnotherChecksumRefusesTheRun) {
  m_policy.rules[0] = {.pci = kModelA, .to = "NEW", .payload = "new.bin", .sha256 = std::string(64, 'b')};
  EXPECT_EQ(states(plan()), "refused refused");
  EXPECT_EQ(plan().verdict.reasons.size(), 1U);
}

TEST_F(PlanGates, ARuleForDrivesThatAreNotThereRefusesNothing) {
  m_policy.rules.push_back(
      {.pci = kModelB, .to = "NEW", .payload = "new.bin", .sha256 = std::string(64, 'b')});
  m_policy.rules[0].pci = kModelA;
  EXPECT_EQ(plan().verdict.outcome, RunOutcome::kDone);
}

TEST_F(PlanGates, AMissingPayloadRefusesTheRun) {
  m_payload = {.problem = "payload: holds 0 files instead of one"};
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "refused refused");
  EXPECT_THAT(plan.verdict.reasons, ElementsAre("payload: holds 0 files instead of one"));
}

TEST_F(PlanLibraries, OneThatTakesNoListRefusesTheServerForOneDrive) {
  m_obeysList = false;
  m_kernel[1].criticalWarning = 1;
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "refused unhealthy");
  EXPECT_EQ(plan.toFlash(), 0U);
  EXPECT_EQ(plan.allowed, std::nullopt);
  ASSERT_EQ(plan.verdict.reasons.size(), 1U);
  EXPECT_THAT(plan.verdict.reasons[0], HasSubstr("drive 2 (S2) must not be flashed: its SMART log"));
}

TEST_F(PlanLibraries, OneThatTakesNoListFlashesCurrentAndStagedDrivesAgain) {
  m_obeysList = false;
  m_inventory[1].revision = "NEW";
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "flash current");
  EXPECT_EQ(plan.verdict.outcome, RunOutcome::kDone);
  EXPECT_EQ(plan.allowed, std::nullopt);
}

TEST_F(PlanLibraries, ACurrentDriveThatMustNotBeFlashedAgainRefusesTheServer) {
  m_obeysList = false;
  m_inventory[1].revision = "NEW";
  use(1, "");
  EXPECT_EQ(states(plan()), "refused current");
  m_inventory[0].revision = "NEW";
  EXPECT_EQ(states(plan()), "current current") << "nothing would be flashed";
  EXPECT_EQ(plan().verdict.outcome, RunOutcome::kDone);
}

TEST_F(PlanLibraries, TwoLegsThatBothWouldBeFlashedRefuseTheServer) {
  m_obeysList = false;
  use(0, "md0");
  use(1, "md0");
  m_inventory[0].revision = "NEW";
  EXPECT_EQ(states(plan()), "current refused");
}

TEST_F(PlanLibraries, PackageConditionsOfOurLibraryMeanNothingToOthers) {
  m_kernel[0].isUpdateAllowed = false;
  m_obeysList = false;
  EXPECT_EQ(states(plan()), "flash flash");
}

TEST_F(PlanLibraries, ADriveWithoutASerialNumberCannotBeToldFromThoseThatAreLeftOut) {
  m_inventory[0] = listed("");
  m_kernel[0].serial = "";
  EXPECT_EQ(states(plan()), "flash flash") << "none is left out";
  EXPECT_EQ(plan().allowed, std::nullopt);
  m_kernel[1].criticalWarning = 1;
  EXPECT_EQ(states(plan()), "refused unhealthy");
  EXPECT_THAT(reasonOf(0), HasSubstr("no serial number by which"));
}

TEST_F(PlanLibraries, DrivesThatShareASerialNumberAreFlashedTogetherOrNotAtAll) {
  m_inventory = {listed("S1"), listed("S1"), listed("S2")};
  m_kernel = {known("S1", 1), known("S1", 2), known("S2", 3)};
  m_kernel[2].criticalWarning = 1;
  EXPECT_EQ(states(plan()), "flash flash unhealthy");
  EXPECT_THAT(plan().allowed.value(), ElementsAre("S1"));
  m_kernel[1].criticalWarning = 1;
  EXPECT_EQ(states(plan()), "refused unhealthy unhealthy");
  EXPECT_THAT(reasonOf(0), HasSubstr("same serial number"));
}

TEST_F(PlanLibraries, EverythingRefusedLeavesNoList) {
  m_policy.serials = {"S9"};
  const Plan plan = this->plan();
  EXPECT_EQ(states(plan), "refused refused");
  EXPECT_EQ(plan.allowed, std::nullopt);
  EXPECT_THAT(plan.verdict.reasons, IsEmpty());
}

}  // namespace

}  // namespace tool
