#include "FirmwareUpdateFixture.h"

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

using CommitTest = FirmwareUpdateFixture;

struct CommitRow {
  int status;
  int result;
  bool isRepeated = false;
};

void PrintTo(const CommitRow& row, std::ostream* out) {
  *out << std::hex << "0x" << row.status;
}

class CommitStatusTest : public FirmwareUpdateFixture, public ::testing::WithParamInterface<CommitRow> {
 protected:
  bool isCommitted() const { return GetParam().result == 267; }
};

TEST_P(CommitStatusTest, ForbiddenToRetryIsSentOnce) {
  for (const int above : {0x4000, 0x6000, 0x5800, 0x7800}) {
    SCOPED_TRACE(above);
    downloaded().commits(2, above | GetParam().status);
    if (isCommitted()) confirms(m_drive);
    m_drive.within(0ms);
    EXPECT_EQ(update(m_tiny), GetParam().result);
  }
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_P(CommitStatusTest, NotForbiddenToRetryIsRepeatedUnlessItWouldBeTheSame) {
  for (const int above : {0, 0x0800, 0x1800, 0x2000, 0x3800}) {
    SCOPED_TRACE(above);
    downloaded().commits(2, above | GetParam().status);
    if (isCommitted()) confirms(m_drive);
    for (int i = 0; GetParam().isRepeated && i < 3; ++i) m_drive.commits(2, above | GetParam().status);
    m_drive.within(0ms);
    EXPECT_EQ(update(m_tiny), GetParam().result);
  }
  EXPECT_EQ(m_host.slept(), GetParam().isRepeated ? 5 * 3 * 500ms : 0ms);
}

INSTANTIATE_TEST_SUITE_P(AllRows, CommitStatusTest,
                         ::testing::Values(CommitRow{0x106, 0x106}, CommitRow{0x107, 0x107},
                                           CommitRow{0x10B, 267}, CommitRow{0x110, 267},
                                           CommitRow{0x111, 267}, CommitRow{0x112, 0x112},
                                           CommitRow{0x113, 0x113}, CommitRow{0x114, 0x114},
                                           CommitRow{0x11E, 0x11E, true}, CommitRow{0x00B, 0x00B, true},
                                           CommitRow{0x001, 0x001, true}, CommitRow{0x006, 0x006, true}),
                         [](const auto& row) { return ::testing::PrintToString(row.param); });

TEST_F(CommitTest, SuccessIsSuccessWhateverStandsAboveTheStatus) {
  m_drive.opens().locks().identifies({}, 0x2000).within(kMinute).readsSlots({}, 0x4000);
  confirms(m_drive.downloads(0, m_tiny, 0x1800).readsSlots().commits(2, 0x6000));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

TEST_F(CommitTest, ARepeatedCommitCanSucceed) {
  confirms(downloaded().commits(2, 0x0006).commits(2, 0x2006).commits(2, 0x1806).commits(2));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_EQ(m_host.slept(), 1500ms);
  EXPECT_EQ(m_host.reports().front(),
            "warning: NVMe drive 0000:04:00.0: Firmware Commit: Internal Error (0x006); it is repeated");
}

TEST_F(CommitTest, ARefusedImageIsReportedByName) {
  downloaded().commits(2, 0x4107);
  EXPECT_EQ(update(m_tiny), 0x107);
  EXPECT_THAT(m_host.reports(),
              ElementsAre("err: NVMe drive 0000:04:00.0: Firmware Commit: Invalid Firmware Image "
                          "(0x107, do not retry)"));
}

TEST_F(CommitTest, TheFirstRefusalIsReturned) {
  downloaded().commits(2, 0x0006).commits(2, 0x0021).commits(2, 0x4107).within(0ms);
  EXPECT_EQ(update(m_tiny), 0x006);
  downloaded().commits(2, 0x0006).commits(2, 0x0371).readsSlots();
  for (int i = 0; i <= 20; ++i) m_drive.readsSlots().identifies();
  EXPECT_EQ(update(m_tiny), 0x371) << "unless a repeat is lost, which may hide a success";
}

TEST_F(CommitTest, AnOwedResetIsReported) {
  confirms(downloaded().commits(2, 0x410B));
  EXPECT_EQ(update(m_tiny), 267);
  EXPECT_EQ(lastReport(),
            "notice: NVMe drive 0000:04:00.0: committed to slot 2, for the next reset; it runs OLD_REV");
}

// Commits whose answer is lost

TEST_F(CommitTest, ALostCommitIsNeverRepeatedAndFailedWhereNothingShowsIt) {
  for (const int lost : {0x0370, 0x0371, 0x0007, 0x0008, -EINTR}) {
    downloaded().commits(2, lost).readsSlots();
    for (int i = 0; i <= 20; ++i) m_drive.readsSlots().identifies();
    m_drive.within(0ms);
    EXPECT_EQ(update(m_tiny), lost);
  }
}

TEST_F(CommitTest, ALostCommitThatTheDriveCarriedOutIsASuccess) {
  downloaded().commits(2, 0x0371).readsSlots({}, -EAGAIN).readsSlots(kStaged).within(0ms);
  confirms(m_drive);
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  downloaded().commits(2, -EINTR).readsSlots(kRuns).readsSlots(kRuns).identifies({.revision = "NEW_REV "});
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "notice: NVMe drive 0000:04:00.0: committed to slot 2; it ran OLD_REV and runs NEW_REV");
}

TEST_F(CommitTest, WhatAResetActivatesIsNoEvidenceOfALostCommit) {
  const SlotLog staged{.activeInfo = 0x21, .revisions = {"OLD_REV ", "MID_REV "}};
  const SlotLog activated{.activeInfo = 0x02, .revisions = {"OLD_REV ", "MID_REV "}};
  downloaded(staged).commits(2, 0x0371).readsSlots(activated);
  for (int i = 0; i <= 20; ++i) m_drive.readsSlots(activated).identifies({.revision = "MID_REV "});
  EXPECT_EQ(update(m_tiny), 0x371);
}

TEST_F(CommitTest, ACommitWithoutAnAnswerInTimeHasTimedOut) {
  for (const int lost : {0x0371, 0x0007, -EINTR}) {
    downloaded().commits(2, lost).taking(5min).readsSlots().within(0ms);
    for (int i = 0; i <= 20; ++i) m_drive.readsSlots().identifies();
    EXPECT_EQ(update(m_tiny), -ETIMEDOUT);
  }
}

TEST_F(CommitTest, ASlowCommitIsASuccess) {
  confirms(downloaded().commits(2).taking(6min));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

// Other updates at the same time

TEST_F(CommitTest, ADriveThatDetectedAnotherUpdateIsNoSuccess) {
  for (const std::uint32_t mud : {1U, 2U, 3U}) {
    ready({.firmwareUpdates = 1 << 5 | 3 << 1}).downloads(0, m_tiny).readsSlots();
    confirms(m_drive.commits(2).saying(mud)).within(0ms);
    EXPECT_EQ(update(m_tiny), -EBADE);
    EXPECT_THAT(m_host.reports(),
                Contains("err: NVMe drive 0000:04:00.0: another host or its management updates "
                         "this drive at the same time; the slot may hold another image"));
  }
}

TEST_F(CommitTest, ARefusalThatTellsOfAnotherUpdateIsNotRepeated) {
  ready({.firmwareUpdates = 1 << 5 | 3 << 1}).downloads(0, m_tiny).readsSlots().commits(2, 0x006).saying(1);
  EXPECT_EQ(update(m_tiny), 0x006);
  EXPECT_THAT(m_host.reports(), Contains(::testing::HasSubstr("updates this drive at the same time")));
}

TEST_F(CommitTest, WhereOverlapsAreNotDetectedTheBitsMeanNothing) {
  confirms(downloaded().commits(2).saying(0xFFFFFFFF));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

// What slot log and revision show

TEST_F(CommitTest, ADriveThatIsBusyAfterTheCommitIsAskedAgain) {
  downloaded()
      .commits(2)
      .readsSlots({}, -EAGAIN)
      .readsSlots({}, 0x4006)
      .readsSlots(kStaged)
      .identifies({}, -EINTR);
  confirms(m_drive);
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_EQ(m_host.slept(), 1500ms);
  EXPECT_THAT(m_host.reports(), Not(Contains(HasSubstr("err:"))));
  EXPECT_THAT(lastReport(), HasSubstr("committed to slot 2, for the next reset"));
}

TEST_F(CommitTest, OfADriveThatDoesNotAnswerAfterTheCommitNothingIsKnown) {
  for (const auto& [status, result] : {std::pair{0, -EREMOTEIO}, std::pair{0x410B, 267}}) {
    downloaded().commits(2, status);
    for (int i = 0; i <= 20; ++i) m_drive.readsSlots({}, -EAGAIN);
    m_drive.within(0ms);
    EXPECT_EQ(update(m_tiny), result);
    EXPECT_EQ(lastReport(),
              "err: NVMe drive 0000:04:00.0: it does not answer since the commit: Resource temporarily "
              "unavailable (errno 11)");
  }
  EXPECT_EQ(m_host.slept(), 20s);
}

TEST_F(CommitTest, ADriveMayStayBusyAfterTheCommitForAsLongAsActivationTakes) {
  ready({.activation = 200}).downloads(0, m_tiny).readsSlots().commits(2);
  for (int i = 0; i < 40; ++i) m_drive.readsSlots({}, -EAGAIN);
  confirms(m_drive);
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
  EXPECT_EQ(m_host.slept(), 20s);
}

TEST_F(CommitTest, ADriveThatIsGoneAfterTheCommitIsNotWaitedFor) {
  for (const int gone : {-ENODEV, -ENXIO}) {
    downloaded().commits(2).readsSlots({}, gone).within(0ms);
    EXPECT_EQ(update(m_tiny), -EREMOTEIO);
  }
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_F(CommitTest, ADriveThatRunsTheFirmwareAtOnceIsReportedWithBothRevisions) {
  downloaded().commits(2).readsSlots(kRuns).identifies({.revision = "NEW_REV "});
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "notice: NVMe drive 0000:04:00.0: committed to slot 2; it ran OLD_REV and runs NEW_REV");
}

TEST_F(CommitTest, ADriveThatShowsNothingOfTheCommitHasNotCommitted) {
  downloaded().commits(2);
  for (int i = 0; i <= 20; ++i) m_drive.readsSlots().identifies();
  EXPECT_EQ(update(m_tiny), -EREMOTEIO);
  EXPECT_EQ(m_host.slept(), 10s);
  EXPECT_EQ(
      lastReport(),
      "err: NVMe drive 0000:04:00.0: committed to slot 2, but neither slot log nor revision shows it; it "
      "runs OLD_REV");
}

TEST_F(CommitTest, ADriveThatShowsTheCommitLateIsBelieved) {
  downloaded().commits(2).readsSlots().identifies();
  confirms(m_drive);
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

TEST_F(CommitTest, TheImageThatRunsAlreadyShowsNothingAndIsASuccess) {
  const ScriptedIdentity oneSlot{.firmwareUpdates = 1 << 1};
  ready(oneSlot).downloads(0, m_tiny).readsSlots().commits(1).readsSlots().identifies(oneSlot);
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "notice: NVMe drive 0000:04:00.0: committed to slot 1, which looks as before, as with the same "
            "image; it runs OLD_REV");
}

TEST_F(CommitTest, ACommitStandsWhenMemoryRunsOutAfterIt) {
  for (const int status : {0, 0x410B}) {
    confirms(downloaded().commits(2, status)).within(0ms);
    m_host.forgetReports();
    EXPECT_EQ(update(m_tiny), status == 0 ? 0 : 267);
  }
}

}  // namespace

}  // namespace nvme_linux
