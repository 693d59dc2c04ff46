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

TEST_P(CommitStatusTest, NotForbiddenToRetryIsRepeatedThreeTimesUnlessCommitted) {
  for (const int above : {0, 0x0800, 0x1800, 0x2000, 0x3800}) {
    SCOPED_TRACE(above);
    downloaded().commits(2, above | GetParam().status);
    if (isCommitted()) {
      confirms(m_drive);
    } else {
      for (int i = 0; i < 3; ++i) m_drive.commits(2, above | GetParam().status);
    }
    m_drive.within(0ms);
    EXPECT_EQ(update(m_tiny), GetParam().result);
  }
  EXPECT_EQ(m_host.slept(), isCommitted() ? 0ms : 5 * 3 * 500ms);
}

INSTANTIATE_TEST_SUITE_P(AllRows, CommitStatusTest,
                         ::testing::Values(CommitRow{0x106, 0x106}, CommitRow{0x107, 0x107},
                                           CommitRow{0x10B, 267}, CommitRow{0x110, 267},
                                           CommitRow{0x111, 267}, CommitRow{0x112, 0x112},
                                           CommitRow{0x113, 0x113}, CommitRow{0x114, 0x114},
                                           CommitRow{0x11E, 0x11E}, CommitRow{0x00B, 0x00B},
                                           CommitRow{0x001, 0x001}, CommitRow{0x006, 0x006}),
                         [](const auto& row) { return ::testing::PrintToString(row.param); });

TEST_F(CommitTest, SuccessIsSuccessWhateverStandsAboveTheStatus) {
  m_drive.opens().locks().identifies({}, 0x2000).within(kMinute).readsSlots({}, 0x4000);
  confirms(m_drive.downloads(0, m_tiny, 0x1800).readsSlots().commits(2, 0x6000));
  EXPECT_EQ(update(m_tiny), 0);
}

TEST_F(CommitTest, ARepeatedCommitCanSucceed) {
  confirms(downloaded().commits(2, 0x0006).commits(2, 0x2006).commits(2, 0x1806).commits(2));
  EXPECT_EQ(update(m_tiny), 0);
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

TEST_F(CommitTest, AnOwedResetIsReported) {
  confirms(downloaded().commits(2, 0x410B));
  EXPECT_EQ(update(m_tiny), 267);
  EXPECT_EQ(m_host.reports().front(),
            "notice: NVMe drive 0000:04:00.0: committed; it needs a reset to run the firmware");
}

TEST_F(CommitTest, ALostCommitIsNeverRepeated) {
  for (const int lost : {0x0370, 0x0371, 0x0007, 0x0008}) {
    downloaded().commits(2, lost).within(0ms);
    EXPECT_EQ(update(m_tiny), lost);
  }
}

TEST_F(CommitTest, ADriveThatIsBusyAfterTheCommitIsAskedAgain) {
  downloaded()
      .commits(2)
      .readsSlots({}, -EAGAIN)
      .readsSlots({}, 0x4006)
      .readsSlots(kStaged)
      .identifies({}, -EINTR);
  confirms(m_drive);
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(m_host.slept(), 1500ms);
  EXPECT_THAT(m_host.reports(), Not(Contains(HasSubstr("err:"))));
  EXPECT_THAT(lastReport(), HasSubstr("committed to slot 2, for the next reset"));
}

TEST_F(CommitTest, ADriveThatStaysBusyAfterTheCommitIsCommittedAllTheSame) {
  downloaded().commits(2, 0x410B);
  for (int i = 0; i <= 20; ++i) m_drive.readsSlots({}, -EAGAIN);
  EXPECT_EQ(update(m_tiny), 267);
  EXPECT_EQ(m_host.slept(), 10s);
  EXPECT_EQ(lastReport(),
            "warning: NVMe drive 0000:04:00.0: committed, but it does not answer since: Resource "
            "temporarily unavailable (errno 11)");
}

TEST_F(CommitTest, ADriveMayStayBusyAfterTheCommitForAsLongAsActivationTakes) {
  ready({.activation = 200}).downloads(0, m_tiny).readsSlots().commits(2);
  for (int i = 0; i < 40; ++i) m_drive.readsSlots({}, -EAGAIN);
  confirms(m_drive);
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(m_host.slept(), 20s);
  EXPECT_THAT(lastReport(), HasSubstr("committed to slot 2"));
}

TEST_F(CommitTest, ADriveThatIsGoneAfterTheCommitIsNotWaitedFor) {
  for (const int gone : {-ENODEV, -ENXIO}) {
    downloaded().commits(2).readsSlots({}, gone).within(0ms);
    EXPECT_EQ(update(m_tiny), 0);
  }
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_F(CommitTest, ADriveThatRunsTheFirmwareAtOnceIsReportedWithBothRevisions) {
  downloaded().commits(2).readsSlots({.activeInfo = 0x02, .revisions = {"OLD_REV ", "NEW_REV "}});
  m_drive.identifies({.revision = "NEW_REV "});
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "notice: NVMe drive 0000:04:00.0: committed to slot 2; it ran OLD_REV and runs NEW_REV");
}

TEST_F(CommitTest, ASlotLogThatKnowsNothingOfTheCommitIsReported) {
  downloaded().commits(2).readsSlots().identifies();
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "warning: NVMe drive 0000:04:00.0: committed to slot 2, but its log does not say so; it "
            "runs OLD_REV");
}

TEST_F(CommitTest, ARunningSlotThatWasCommittedToHasToShowIt) {
  const ScriptedIdentity oneSlot{.firmwareUpdates = 1 << 1};
  struct {
    SlotLog after;
    const char* report;
  } const cases[] = {
      {{.activeInfo = 0x01},
       "warning: NVMe drive 0000:04:00.0: committed to slot 1, but its log does not say so"},
      {{.activeInfo = 0x21},
       "warning: NVMe drive 0000:04:00.0: committed to slot 1, but its log does not say so"},
      {{.activeInfo = 0x11}, "notice: NVMe drive 0000:04:00.0: committed to slot 1, for the next reset"},
      {{.activeInfo = 0x01, .revisions = {"NEW_REV "}},
       "notice: NVMe drive 0000:04:00.0: committed to slot 1"},
  };
  for (const auto& [after, report] : cases) {
    ready(oneSlot).downloads(0, m_tiny).readsSlots().commits(1).readsSlots(after).identifies(oneSlot);
    m_drive.within(0ms);
    EXPECT_EQ(update(m_tiny), 0);
    EXPECT_EQ(lastReport(), std::string(report) + "; it runs OLD_REV");
  }
}

TEST_F(CommitTest, AnActivatedSlotIsNotForTheNextResetWhenAnotherOneIs) {
  downloaded().commits(2).readsSlots({.activeInfo = 0x12}).identifies();
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(), "notice: NVMe drive 0000:04:00.0: committed to slot 2; it runs OLD_REV");
}

TEST_F(CommitTest, ACommitStandsWhenMemoryRunsOutBehindIt) {
  for (const int status : {0, 0x410B}) {
    downloaded().commits(2, status);
    if (status == 0) confirms(m_drive);
    m_drive.within(0ms);
    m_host.forgetReports();
    EXPECT_EQ(update(m_tiny), status == 0 ? 0 : 267);
  }
}

}  // namespace

}  // namespace nvme_linux
