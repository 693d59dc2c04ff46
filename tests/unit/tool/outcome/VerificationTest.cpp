#include "Verification.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using tool::Document;
using tool::DocumentKind;
using tool::DriveVerdict;
using tool::LoggedDrive;
using tool::LoggedFlash;
using tool::LoggedRun;
using tool::Record;
using tool::RunOutcome;
using tool::Verdict;
using tool::verify;

constexpr char kFailed[] = "ERROR: Failed to Update Firmware";
constexpr char kUnreadable[] = "ERROR: Getting Firmware Version of required NVMePCISSD disk failed";

Record drive(const std::string& serial, const std::string& revision) {
  Record record;
  record.pci = {"f101", "a801", "f1a0", "1001"};
  record.name = "Sample Drive";
  record.enumId = "Serial Number: " + serial;
  record.revision = revision + "  ";  // as drives pad it
  return record;
}

Record failure(const std::string& message) {
  Record record;
  record.outcome = tool::Outcome::kFailed;
  record.message = message;
  return record;
}

Document inventory(std::vector<Record> records) {
  return {.kind = DocumentKind::kInventory, .records = std::move(records)};
}

Document update(std::vector<Record> records) {
  for (Record& record : records) {
    if (record.outcome == tool::Outcome::kListed) record.outcome = tool::Outcome::kSuccess;
  }
  return {.kind = DocumentKind::kUpdate, .records = std::move(records)};
}

LoggedDrive logged(const std::string& serial, LoggedFlash flash, int code = 0) {
  return {.serial = serial,
          .model = "SAMPLE MODEL",
          .revision = "R1",
          .name = "Sample Drive",
          .vendor = "f101",
          .device = "a801",
          .subVendor = "f1a0",
          .subDevice = "1001",
          .address = "41:02.0",
          .flash = flash,
          .code = code};
}

LoggedRun loggedUpdate(std::vector<LoggedDrive> drives) {
  return {.isUpdate = true, .drives = std::move(drives), .ended = true, .flashingEnded = true};
}

/// "A:updated B:failed", with "?" for a drive without a serial number.
std::string states(const Verdict& verdict) {
  std::string words;
  for (const DriveVerdict& one : verdict.drives) {
    if (!words.empty()) words += ' ';
    words += one.serial.value_or("?") + ":" + outcomeName(one.state);
  }
  return words;
}

const Document kBefore = inventory({drive("A", "R1"), drive("B", "R1")});
const Document kBothDone = update({drive("A", "R1"), drive("B", "R1")});

TEST(Verification, TellsUpdatedDrivesFromUnchangedOnes) {
  const Document after = inventory({drive("A", "R2"), drive("B", "R1")});
  const Verdict verdict = verify({.before = &kBefore, .update = &kBothDone, .after = &after});
  EXPECT_EQ(states(verdict), "A:updated B:unchanged");
  EXPECT_EQ(verdict.outcome, RunOutcome::kUndecided);
  EXPECT_EQ(verdict.drives[0].before, "R1");
  EXPECT_EQ(verdict.drives[0].after, "R2");
}

TEST(Verification, HoldsTheRunningRevisionAgainstTheWantedOne) {
  const Document before = inventory({drive("A", "R1"), drive("B", "R2"), drive("C", "R1")});
  const Document done = update({drive("A", "R1"), drive("B", "R2"), drive("C", "R1")});
  const Document after = inventory({drive("A", "R2"), drive("B", "R2"), drive("C", "R3")});
  const Verdict verdict = verify({.before = &before, .update = &done, .after = &after, .wanted = "R2"});
  EXPECT_EQ(states(verdict), "A:updated B:current C:undecided");
}

TEST(Verification, EndsWithZeroWhenEveryDriveIsUpdatedOrCurrent) {
  const Document before = inventory({drive("A", "R1"), drive("B", "R2")});
  const Document done = update({drive("A", "R1"), drive("B", "R2")});
  const Document after = inventory({drive("A", "R2"), drive("B", "R2")});
  const Verdict verdict = verify({.before = &before, .update = &done, .after = &after, .wanted = "R2"});
  EXPECT_EQ(verdict.outcome, RunOutcome::kDone);
}

TEST(Verification, NamesAFailedDriveByTheOrderOfDiscovery) {
  const Document oneFailed = update({drive("A", "R1"), failure(kFailed)});
  const Document after = inventory({drive("A", "R2"), drive("B", "R1")});
  const Verdict verdict = verify({.before = &kBefore, .update = &oneFailed, .after = &after});
  EXPECT_EQ(states(verdict), "A:updated B:failed");
  EXPECT_EQ(verdict.drives[1].identifiedBy, tool::IdentifiedBy::kOrder);
  EXPECT_EQ(verdict.drives[1].after, "R1");
  EXPECT_EQ(verdict.outcome, RunOutcome::kFailed);
}

TEST(Verification, NamesAFailedDriveAndItsCodeByTheLog) {
  const Document oneFailed = update({drive("A", "R1"), failure(kFailed)});
  const LoggedRun log =
      loggedUpdate({logged("A", LoggedFlash::kDone), logged("B", LoggedFlash::kRefused, 263)});
  const Verdict verdict = verify({.update = &oneFailed, .log = &log});
  EXPECT_EQ(states(verdict), "A:undecided B:failed");
  EXPECT_EQ(verdict.drives[1].identifiedBy, tool::IdentifiedBy::kLog);
  EXPECT_EQ(verdict.drives[1].code, 263);
  EXPECT_EQ(verdict.drives[1].address, "41:02.0");
  EXPECT_TRUE(verdict.drives[1].reason.starts_with("263 Invalid Firmware Image: "))
      << verdict.drives[1].reason;
}

TEST(Verification, GuessesNothingWhereADriveIsGoneAndAnotherFailed) {
  const Document before = inventory({drive("A", "R1"), drive("B", "R1"), drive("C", "R1")});
  const Document oneFailed = update({drive("A", "R1"), failure(kFailed)});
  EXPECT_EQ(states(verify({.before = &before, .update = &oneFailed})),
            "A:undecided ?:failed B:undecided C:undecided");
}

TEST(Verification, TellsAMissingDriveWithAndWithoutALaterInventory) {
  const Document onlyA = update({drive("A", "R1")});
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &onlyA})), "A:undecided B:missing");
  const Document gone = inventory({drive("A", "R2")});
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &kBothDone, .after = &gone})),
            "A:updated B:missing");
  const Document back = inventory({drive("A", "R2"), drive("B", "R1")});
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &onlyA, .after = &back})), "A:updated B:untouched");
}

TEST(Verification, CallsNothingFlashedWhatARefusedPayloadLeftAlone) {
  LoggedRun log = loggedUpdate({logged("A", LoggedFlash::kNone), logged("B", LoggedFlash::kNone)});
  log.payloadRefused = true;
  const Verdict verdict = verify({.before = &kBefore, .update = &kBothDone, .after = &kBefore, .log = &log});
  EXPECT_EQ(states(verdict), "A:untouched B:untouched");
  EXPECT_EQ(verdict.outcome, RunOutcome::kUndecided);
}

TEST(Verification, CallsNothingFlashedWhereTheUpdateFoundNoDrives) {
  const Document nothing = update({});
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &nothing})), "A:untouched B:untouched");
}

TEST(Verification, LeavesAsideALogOfAnotherRun) {
  const LoggedDrive done = logged("A", LoggedFlash::kDone);
  LoggedDrive otherRevision = logged("B", LoggedFlash::kDone);
  otherRevision.revision = "R0";
  const Document after = inventory({drive("A", "R2"), drive("B", "R2")});
  for (const LoggedDrive& second :
       {logged("X", LoggedFlash::kDone), logged("B", LoggedFlash::kRefused, 5), otherRevision}) {
    const LoggedRun log = loggedUpdate({done, second});
    const Verdict verdict = verify({.before = &kBefore, .update = &kBothDone, .after = &after, .log = &log});
    EXPECT_EQ(states(verdict), "A:updated B:updated");
    ASSERT_EQ(verdict.reasons.size(), 1U);
    EXPECT_EQ(
        verdict.reasons.front(),
        "the log is of another run: drive 2 is another one there, or ended otherwise; it is left aside");
  }
}

TEST(Verification, LeavesAsideALogThatKnowsOfNoFailure) {
  const Document oneFailed = update({drive("A", "R1"), failure(kFailed)});
  const LoggedRun log = loggedUpdate({logged("A", LoggedFlash::kDone), logged("B", LoggedFlash::kDone)});
  const Document after = inventory({drive("A", "R2"), drive("B", "R2")});
  const Verdict verdict = verify({.before = &kBefore, .update = &oneFailed, .after = &after, .log = &log});
  EXPECT_EQ(states(verdict), "A:updated B:failed");
  EXPECT_EQ(verdict.drives[1].identifiedBy, tool::IdentifiedBy::kOrder);
}

TEST(Verification, DecidesNothingFromDocumentsOfOtherDrives) {
  const Document others = inventory({drive("X", "R2"), drive("Y", "R2")});
  EXPECT_EQ(states(verify({.before = &others, .update = &kBothDone, .after = &kBefore})),
            "A:unchanged B:unchanged X:undecided Y:undecided");
  const Verdict verdict = verify({.before = &kBefore, .update = &kBothDone, .after = &others});
  EXPECT_EQ(states(verdict), "A:undecided B:undecided");
  EXPECT_EQ(verdict.outcome, RunOutcome::kUndecided);
}

TEST(Verification, CallsEveryDriveMissingWhereNoneIsLeft) {
  const Document none = inventory({});
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &kBothDone, .after = &none})),
            "A:missing B:missing");
}

TEST(Verification, NotesAnInventoryThatIsOlderThanTheUpdate) {
  const Document older = inventory({drive("A", "R0"), drive("B", "R1")});
  const Document after = inventory({drive("A", "R2"), drive("B", "R2")});
  const Verdict verdict = verify({.before = &older, .update = &kBothDone, .after = &after});
  EXPECT_EQ(verdict.drives[0].before, "R1") << "the update read it last";
  ASSERT_EQ(verdict.reasons.size(), 1U);
  EXPECT_TRUE(verdict.reasons.front().starts_with("the update read other revisions"))
      << verdict.reasons.front();
}

TEST(Verification, NotesThatAFailedDriveRunsAnotherRevision) {
  const Document oneFailed = update({drive("A", "R1"), failure(kFailed)});
  const Document after = inventory({drive("A", "R2"), drive("B", "R2")});
  const Verdict verdict = verify({.before = &kBefore, .update = &oneFailed, .after = &after});
  EXPECT_EQ(states(verdict), "A:updated B:failed");
  EXPECT_NE(verdict.drives[1].reason.find("another revision all the same"), std::string::npos);
}

TEST(Verification, ReadsALostDocumentsOutcomeFromTheLog) {
  const LoggedRun log =
      loggedUpdate({logged("A", LoggedFlash::kDone), logged("B", LoggedFlash::kRefused, -16)});
  const Document after = inventory({drive("A", "R2"), drive("B", "R1")});
  EXPECT_EQ(states(verify({.before = &kBefore, .after = &after, .log = &log})), "A:updated B:failed");
}

TEST(Verification, DecidesNothingFromACutOffLogAlone) {
  LoggedRun log{.isUpdate = true, .drives = {logged("A", LoggedFlash::kUnended)}};
  EXPECT_EQ(states(verify({.before = &kBefore, .log = &log})), "A:undecided B:undecided");
}

TEST(Verification, DecidesNothingWithoutAnUpdateDocument) {
  EXPECT_EQ(states(verify({.before = &kBefore, .after = &kBefore})), "A:undecided B:undecided");
  EXPECT_EQ(verify({}).outcome, RunOutcome::kUndecided);
}

TEST(Verification, TakesADriveWithAnUnreadableRevisionForFlashed) {
  const Document unreadable = update({drive("A", "R1"), failure(kUnreadable)});
  const Document after = inventory({drive("A", "R2"), drive("B", "R2")});
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &unreadable, .after = &after})),
            "A:updated B:updated");
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &unreadable, .after = &kBefore})),
            "A:unchanged B:undecided");
}

TEST(Verification, DecidesNothingAboutARevisionThatCannotBeReadAfterwards) {
  const Document after = inventory({drive("A", "R2"), failure(kUnreadable)});
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &kBothDone, .after = &after})),
            "A:updated B:undecided");
}

TEST(Verification, NamesALogThatIsOfAnotherRun) {
  LoggedRun log = loggedUpdate({logged("A", LoggedFlash::kDone)});
  for (const auto& [ended, reason] :
       {std::pair{true, "the log is of another run: it has 1 drives, the update document 2"},
        std::pair{false, "the log ends before the run does"}}) {
    log.ended = log.flashingEnded = ended;
    const Verdict verdict = verify({.before = &kBefore, .update = &kBothDone, .log = &log});
    ASSERT_FALSE(verdict.reasons.empty());
    EXPECT_NE(verdict.reasons.front().find(reason), std::string::npos) << verdict.reasons.front();
  }
}

TEST(Verification, ADriveThatRanTheWantedRevisionBeforeIsCurrentEvenUnseen) {
  EXPECT_EQ(states(verify({.before = &kBefore, .update = &kBothDone, .wanted = "R1"})),
            "A:current B:current");
}

TEST(Verification, WithoutARevisionBeforeNothingCanBeCompared) {
  const Document blank = inventory({drive("A", "")});
  const Document done = update({drive("A", "")});
  const Document after = inventory({drive("A", "R2")});
  const Verdict verdict = verify({.before = &blank, .update = &done, .after = &after});
  EXPECT_EQ(states(verdict), "A:undecided");
  EXPECT_EQ(verdict.drives[0].reason, "what it ran before is unknown");
}

TEST(Verification, TellsDrivesOfOneSerialNumberByOrder) {
  const Document before = inventory({drive("A", "R1"), drive("A", "R1")});
  const Document oneFailed = update({drive("A", "R1"), failure(kFailed)});
  const Document after = inventory({drive("A", "R2"), drive("A", "R1")});
  const Verdict verdict = verify({.before = &before, .update = &oneFailed, .after = &after});
  EXPECT_EQ(states(verdict), "A:updated A:failed");
  EXPECT_EQ(verdict.drives[0].identifiedBy, tool::IdentifiedBy::kOrder);
}

}  // namespace
