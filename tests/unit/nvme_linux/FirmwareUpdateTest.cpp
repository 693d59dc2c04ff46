#include "FirmwareUpdate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "ScriptedHost.h"

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr auto kMinute = 60s;
constexpr std::size_t kPiece = 4096;

/// One drive at 0000:04:00.0, and updates of it.
class FirmwareUpdateTest : public ::testing::Test {
 protected:
  FirmwareUpdateTest() { m_host.addController("nvme0", "0000:04:00.0"); }

  int update(const Bytes& payload) { return updateFrom(m_host.payload(payload)); }

  int updateFrom(const std::string& path) { return FirmwareUpdate(m_host, m_controller).run(path); }

  /// The drive up to the last step before the download.
  DriveScript& ready(const ScriptedIdentity& identity = {}, const SlotLog& log = {}) {
    return m_drive.opens().locks().identifies(identity).within(kMinute).readsSlots(log);
  }

  /// The drive after a small image (four bytes) has been downloaded.
  DriveScript& downloaded(const SlotLog& log = {}) {
    return ready({}, log).downloads(0, m_tiny).readsSlots(log);
  }

  /// What is read once the image is committed to slot 2.
  static DriveScript& confirms(DriveScript& drive) { return drive.readsSlots(kStaged).identifies(); }

  const std::string& lastReport() const { return m_host.reports().back(); }

  inline static const SlotLog kStaged{.activeInfo = 0x21, .revisions = {"OLD_REV ", "NEW_REV "}};

  ScriptedHost m_host;
  PciController m_controller{.name = "nvme0",
                             .addressText = "0000:04:00.0",
                             .address = PciAddress{4, 0, 0},
                             .ids = {0x144D, 0xA801, 0x1028, 0x1FD9},
                             .leftOutBecause = ""};
  DriveScript& m_drive = m_host.drive("nvme0");
  Bytes m_tiny = image(4);
};

TEST_F(FirmwareUpdateTest, CommitsASmallImageToTheEmptySlotForTheNextReset) {
  confirms(downloaded().commits(2));
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_THAT(m_host.reports(),
              ElementsAre("notice: NVMe drive 0000:04:00.0: committed to slot 2, for the next "
                          "reset; it runs OLD_REV"));
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_F(FirmwareUpdateTest, DownloadsWholePiecesAndALastOneOfItsTrueLength) {
  for (const std::size_t size : {kPiece, 3 * kPiece, 3 * kPiece + 4, 2 * kPiece - 4, kPiece + 2048}) {
    SCOPED_TRACE(size);
    const Bytes payload = image(size);
    ready();
    for (std::size_t offset = 0; offset < size; offset += kPiece) {
      m_drive.downloads(offset, part(payload, offset, std::min(kPiece, size - offset)));
    }
    confirms(m_drive.readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(payload), 0);
  }
}

TEST_F(FirmwareUpdateTest, PiecesHaveTheDrivesGranularity) {
  const Bytes payload = image(20000);
  ready({.granularity = 2}).downloads(0, part(payload, 0, 8192)).downloads(8192, part(payload, 8192, 8192));
  m_drive.downloads(16384, part(payload, 16384, 3616))
      .readsSlots()
      .commits(2)
      .readsSlots(kStaged)
      .identifies();
  EXPECT_EQ(update(payload), 0);
}

TEST(PieceSizeTest, IsTheGranularityWithinTheLimitOfTheDrive) {
  const auto size = [](std::size_t granularity, std::size_t maximumTransfer) {
    Identity identity;
    identity.granularity = granularity;
    identity.maximumTransfer = maximumTransfer;
    return pieceSize(identity);
  };
  EXPECT_EQ(size(0, 0), 4096U);
  EXPECT_EQ(size(0, 1U << 20), 4096U);
  EXPECT_EQ(size(16384, 0), 16384U);
  EXPECT_EQ(size(16384, 131072), 16384U);
  EXPECT_EQ(size(16384, 8192), 8192U);
  EXPECT_EQ(size(254U * 4096, 0), 254U * 4096);
}

TEST_F(FirmwareUpdateTest, ADriveWithoutRestrictionGetsUsualPieces) {
  const Bytes payload = image(kPiece + 4);
  ready({.granularity = 0xFF})
      .downloads(0, part(payload, 0, kPiece))
      .downloads(kPiece, part(payload, kPiece, 4));
  m_drive.readsSlots().commits(2).readsSlots(kStaged).identifies();
  EXPECT_EQ(update(payload), 0);
}

TEST_F(FirmwareUpdateTest, TransferLimitIsAPowerOfTwoOfPages) {
  const Bytes payload = image(16384);
  ready({.transferShift = 1, .granularity = 4}).downloads(0, part(payload, 0, 8192));
  m_drive.downloads(8192, part(payload, 8192, 8192)).readsSlots().commits(2).readsSlots(kStaged).identifies();
  EXPECT_EQ(update(payload), 0);
}

TEST_F(FirmwareUpdateTest, ATransferLimitBeyondAnyTransferIsNone) {
  for (const std::uint8_t shift : std::initializer_list<std::uint8_t>{0, 16, 0xFF}) {
    const Bytes payload = image(16384);
    ready({.transferShift = shift, .granularity = 4}).downloads(0, payload);
    confirms(m_drive.readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(payload), 0);
  }
}

TEST_F(FirmwareUpdateTest, PiecesShrinkToWhatTheKernelTransfersAtOnce) {
  const Bytes payload = image(24580);
  ready({.granularity = 5})
      .downloads(0, part(payload, 0, 20480), -EINVAL)
      .downloads(0, part(payload, 0, 8192))
      .downloads(8192, part(payload, 8192, 8192), -EINVAL)
      .downloads(8192, part(payload, 8192, 4096));
  for (const std::size_t offset : {12288U, 16384U, 20480U}) {
    m_drive.downloads(offset, part(payload, offset, 4096));
  }
  confirms(m_drive.downloads(24576, part(payload, 24576, 4)).readsSlots().commits(2));
  EXPECT_EQ(update(payload), 0);
  EXPECT_EQ(m_host.slept(), 0ms);
  EXPECT_THAT(m_host.reports(),
              Contains("info: NVMe drive 0000:04:00.0: the kernel refused a piece of 20480 bytes; pieces "
                       "have 8192 bytes from here on"));
  EXPECT_THAT(m_host.reports(), Not(Contains(HasSubstr("err:"))));
}

TEST_F(FirmwareUpdateTest, AShortPieceShrinksByItsOwnLength) {
  const Bytes payload = image(8192);
  ready({.granularity = 4})
      .downloads(0, payload, -EINVAL)
      .downloads(0, part(payload, 0, 4096))
      .downloads(4096, part(payload, 4096, 4096));
  confirms(m_drive.readsSlots().commits(2));
  EXPECT_EQ(update(payload), 0);
}

TEST_F(FirmwareUpdateTest, AUsualPieceThatTheKernelRefusesEndsTheUpdate) {
  const Bytes payload = image(2 * kPiece);
  ready().downloads(0, part(payload, 0, kPiece), -EINVAL).within(0ms);
  EXPECT_EQ(update(payload), -EINVAL);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: the kernel refused a piece of 4096 bytes; the update ends");
  ready({.granularity = 2}).downloads(0, m_tiny, -EINVAL);
  EXPECT_EQ(update(m_tiny), -EINVAL);
}

// Payloads

TEST_F(FirmwareUpdateTest, RefusesABadPayloadBeforeItTouchesTheDrive) {
  EXPECT_EQ(update({}), -ENODATA);
  for (const std::size_t size : {1U, 2U, 3U, 4097U, 4098U}) EXPECT_EQ(update(image(size)), -EINVAL) << size;
  EXPECT_EQ(updateFrom("missing.bin"), -ENOENT);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: payload missing.bin refused: No such file or directory "
            "(errno 2)");
  EXPECT_EQ(updateFrom(std::filesystem::temp_directory_path()), -EINVAL);
  const std::string endless = m_host.payload(m_tiny);
  std::filesystem::resize_file(endless, (128U << 20) + 4);
  EXPECT_EQ(updateFrom(endless), -EFBIG);
  std::filesystem::resize_file(endless, 128U << 20);
  m_drive.opens(-EACCES);
  EXPECT_EQ(updateFrom(endless), -EACCES) << "the longest payload is none of the bad ones";
}

// The drive's own conditions

TEST_F(FirmwareUpdateTest, ASecondRunIsTurnedAwayWithBusy) {
  m_drive.opens().locks(-EBUSY);
  EXPECT_EQ(update(m_tiny), -EBUSY);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: another run is updating this drive");
}

TEST_F(FirmwareUpdateTest, ADriveThatCannotBeOpenedOrLockedKeepsItsErrorNumber) {
  m_drive.opens(-EACCES);
  EXPECT_EQ(update(m_tiny), -EACCES);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: nvme0 cannot be opened: Permission denied (errno 13)");
  m_drive.opens().locks(-ENOLCK);
  EXPECT_EQ(update(m_tiny), -ENOLCK);
}

TEST_F(FirmwareUpdateTest, ADriveThatGotTheNameOfTheOneThatWasFoundIsNotTouched) {
  for (const auto& [address, ids] :
       {std::pair{"0000:05:00.0", "144d:a801:1028:1fd9"}, std::pair{"0000:04:00.0", "144d:a802:1028:1fd9"},
        std::pair{"0000:04:00.0", "144d:a801:1028:1fda"}, std::pair{"", ""}}) {
    m_host.addController("nvme0", "0000:04:00.0");
    m_drive.opens().locks().whenLocked(
        [this, where = address, what = ids] { m_host.addController("nvme0", where, what); });
    EXPECT_EQ(update(m_tiny), -ENODEV) << address << ids;
    EXPECT_EQ(lastReport(),
              "err: NVMe drive 0000:04:00.0: nvme0 is another drive by now; the update is refused");
  }
}

TEST_F(FirmwareUpdateTest, ANodeOfAnotherDriveIsNotTouched) {
  m_host.writeAttribute("nvme0", "dev", "240:1");
  m_drive.opens().locks();
  EXPECT_EQ(update(m_tiny), -ENODEV);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: nvme0 is the node of another drive; the update is refused");
  m_host.writeAttribute("nvme0", "dev", "240:0");
  confirms(downloaded().commits(2));
  EXPECT_EQ(update(m_tiny), 0);
}

TEST_F(FirmwareUpdateTest, ADriveWithoutFirmwareCommandsIsLeftAlone) {
  m_drive.opens().locks().identifies({.optionalCommands = 0xFFFB});
  EXPECT_EQ(update(m_tiny), -EOPNOTSUPP);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: it takes no firmware");
}

TEST_F(FirmwareUpdateTest, WaitsForAnUpdateThatIsInProgress) {
  ready({}, {.activeInfo = 0x09})
      .readsSlots({.activeInfo = 0x09})
      .readsSlots()
      .downloads(0, m_tiny)
      .readsSlots();
  confirms(m_drive.commits(2));
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(m_host.slept(), 1s);
}

TEST_F(FirmwareUpdateTest, DoesNotWaitForeverForAnUpdateThatIsInProgress) {
  ready({}, {.activeInfo = 0x09});
  for (int i = 0; i < 60; ++i) m_drive.readsSlots({.activeInfo = 0x09});
  EXPECT_EQ(update(m_tiny), -EALREADY);
  EXPECT_EQ(m_host.slept(), 30s);
  EXPECT_EQ(
      lastReport(),
      "err: NVMe drive 0000:04:00.0: it goes on saying that an update is in progress; this one is refused");
}

TEST_F(FirmwareUpdateTest, WaitsAsLongAsTheDriveMayTakeToActivate) {
  m_drive.opens().locks().identifies({.activation = 900}).within(90s);
  for (int i = 0; i <= 180; ++i) m_drive.readsSlots({.activeInfo = 0x09});
  EXPECT_EQ(update(m_tiny), -EALREADY);
  EXPECT_EQ(m_host.slept(), 90s);
}

TEST_F(FirmwareUpdateTest, NeverWaitsLongerThanFiveMinutes) {
  m_drive.opens().locks().identifies({.activation = 0xFFFF}).within(6553500ms);
  for (int i = 0; i <= 600; ++i) m_drive.readsSlots({.activeInfo = 0x09});
  EXPECT_EQ(update(m_tiny), -EALREADY);
  EXPECT_EQ(m_host.slept(), 300s);
}

TEST_F(FirmwareUpdateTest, ADriveThatCountsItsOwnDownloadAsAnUpdateGetsItsCommit) {
  ready().downloads(0, m_tiny);
  for (int i = 0; i <= 20; ++i) m_drive.readsSlots({.activeInfo = 0x09});
  confirms(m_drive.commits(2));
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(m_host.slept(), 10s);
  EXPECT_EQ(m_host.reports().front(),
            "warning: NVMe drive 0000:04:00.0: it goes on saying that an update is in progress; the image is "
            "committed all the same");
}

TEST_F(FirmwareUpdateTest, FirmwareCommandsMayTakeAsLongAsActivationButNeverLessThanTheKernelAllows) {
  struct {
    std::uint16_t activation;
    const char* host;
    std::chrono::milliseconds timeout;
  } const cases[] = {{0, "60", 60s},       {599, "60", 60s},
                     {601, "60", 60100ms}, {0xFFFF, "60", 6553500ms},
                     {601, "90", 90s},     {0, "4294968", 4294967295ms}};
  for (const auto& [activation, host, timeout] : cases) {
    SCOPED_TRACE(timeout.count());
    m_host.setAdminTimeout(host);
    m_drive.opens().locks().identifies({.activation = activation}).within(timeout).readsSlots();
    confirms(m_drive.downloads(0, m_tiny).readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(m_tiny), 0);
  }
}

// Slots

TEST(ChooseSlotTest, IsNeitherReadOnlyNorRunningIfThatCanBe) {
  const std::string full = "REVISION";
  const std::string none(8, '\0');
  const std::string blank(8, ' ');
  struct {
    const char* name;
    unsigned int slots;
    bool firstReadOnly;
    unsigned int running;
    std::vector<std::string> revisions;
    std::optional<unsigned int> chosen;
  } const cases[] = {
      {"one slot only", 1, false, 1, {full}, 1},
      {"one slot only, read-only", 1, true, 1, {full}, std::nullopt},
      {"two slots, second empty", 2, false, 1, {full, none}, 2},
      {"two slots, first empty", 2, false, 2, {none, full}, 1},
      {"two slots, both full", 2, false, 2, {full, full}, 1},
      {"first read-only, the second runs", 2, true, 2, {full, full}, 2},
      {"first read-only, the first runs", 2, true, 1, {full, full}, 2},
      {"first read-only and empty", 3, true, 3, {none, full, full}, 2},
      {"empty one before a full one", 4, false, 1, {full, full, full, none}, 4},
      {"empty by blanks", 3, false, 1, {full, full, blank}, 3},
      {"all full", 3, false, 2, {full, full, full}, 3},
      {"all full, the last runs", 3, false, 3, {full, full, full}, 1},
      {"all full, the last runs, first read-only", 3, true, 3, {full, full, full}, 2},
      {"seven slots", 7, true, 7, {full, full, full, full, full, none, full}, 6},
      {"the running slot has no revision", 2, false, 1, {none, full}, 2},
      {"the running slot is not told", 3, true, 0, {full, none, none}, 0},
      {"the number of slots is not told", 0, true, 1, {full}, 0},
      {"a running slot that the drive does not have", 2, true, 5, {full, full}, 2},
  };
  for (const auto& c : cases) {
    Identity identity;
    identity.slots = c.slots;
    identity.firstSlotReadOnly = c.firstReadOnly;
    FirmwareSlots slots;
    slots.running = c.running;
    for (std::size_t i = 0; i < c.revisions.size(); ++i) {
      std::copy_n(c.revisions[i].begin(), 8, slots.revisions.at(i).begin());
    }
    EXPECT_EQ(chooseSlot(identity, slots), c.chosen) << c.name;
  }
}

TEST_F(FirmwareUpdateTest, ADriveWhoseOneSlotIsReadOnlyIsRefusedBeforeTheDownload) {
  ready({.firmwareUpdates = 1 << 1 | 1});
  EXPECT_EQ(update(m_tiny), -EROFS);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: none of its firmware slots can be written");
}

TEST_F(FirmwareUpdateTest, CommitsToTheSlotThatTheDriveLeavesOpen) {
  const SlotLog log{.activeInfo = 0x02, .revisions = {"FACTORY ", "OLD_REV ", "OLDER   "}};
  ready({.firmwareUpdates = 3 << 1 | 1}, log).downloads(0, m_tiny).readsSlots(log).commits(3);
  m_drive.readsSlots({.activeInfo = 0x32, .revisions = {"FACTORY ", "OLD_REV ", "NEW_REV "}}).identifies();
  EXPECT_EQ(update(m_tiny), 0);
}

TEST_F(FirmwareUpdateTest, ADriveThatKeepsItsRunningSlotToItselfChooses) {
  const SlotLog log{.activeInfo = 0x00, .revisions = {}};
  downloaded(log).commits(0).readsSlots(log).identifies();
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "notice: NVMe drive 0000:04:00.0: committed to a slot of its own choice; it runs OLD_REV");
}

TEST_F(FirmwareUpdateTest, OtherBitsBesideSlotNumbersMeanNothing) {
  const SlotLog log{.activeInfo = 0x81, .revisions = {"OLD_REV ", "OLDER   ", "OLDEST  "}};
  ready({.firmwareUpdates = 0xF0 | 3 << 1}, log).downloads(0, m_tiny).readsSlots(log).commits(2);
  m_drive.readsSlots({.activeInfo = 0xA1}).identifies();
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_THAT(lastReport(), HasSubstr("committed to slot 2, for the next reset"));
}

TEST_F(FirmwareUpdateTest, ADriveThatStillActivatesAfterTheCommitIsUnderstood) {
  downloaded().commits(2).readsSlots({.activeInfo = 0x0A}).identifies();
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(), "notice: NVMe drive 0000:04:00.0: committed to slot 2; it runs OLD_REV");
}

// Statuses of the commit

struct CommitRow {
  int status;
  int result;
};

void PrintTo(const CommitRow& row, std::ostream* out) {
  *out << std::hex << "0x" << row.status;
}

class CommitStatusTest : public FirmwareUpdateTest, public ::testing::WithParamInterface<CommitRow> {
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

TEST_F(FirmwareUpdateTest, SuccessIsSuccessWhateverStandsAboveTheStatus) {
  m_drive.opens().locks().identifies({}, 0x2000).within(kMinute).readsSlots({}, 0x4000);
  confirms(m_drive.downloads(0, m_tiny, 0x1800).readsSlots().commits(2, 0x6000));
  EXPECT_EQ(update(m_tiny), 0);
}

TEST_F(FirmwareUpdateTest, ARepeatedCommitCanSucceed) {
  confirms(downloaded().commits(2, 0x0006).commits(2, 0x2006).commits(2, 0x1806).commits(2));
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(m_host.slept(), 1500ms);
  EXPECT_EQ(m_host.reports().front(),
            "warning: NVMe drive 0000:04:00.0: Firmware Commit: Internal Error (0x006); it is repeated");
}

TEST_F(FirmwareUpdateTest, ARefusedImageIsReportedByName) {
  downloaded().commits(2, 0x4107);
  EXPECT_EQ(update(m_tiny), 0x107);
  EXPECT_THAT(m_host.reports(),
              ElementsAre("err: NVMe drive 0000:04:00.0: Firmware Commit: Invalid Firmware Image "
                          "(0x107, do not retry)"));
}

TEST_F(FirmwareUpdateTest, AnOwedResetIsReported) {
  confirms(downloaded().commits(2, 0x410B));
  EXPECT_EQ(update(m_tiny), 267);
  EXPECT_EQ(m_host.reports().front(),
            "notice: NVMe drive 0000:04:00.0: committed; it needs a reset to run the firmware");
}

// Downloads that fail

TEST_F(FirmwareUpdateTest, ARefusedPieceEndsTheUpdate) {
  const Bytes payload = image(3 * kPiece);
  ready().downloads(0, part(payload, 0, kPiece)).downloads(kPiece, part(payload, kPiece, kPiece), 0x4114);
  EXPECT_EQ(update(payload), 0x114);
}

TEST_F(FirmwareUpdateTest, APieceIsRepeatedWhereItMayBe) {
  const Bytes payload = image(kPiece + 4);
  ready().downloads(0, part(payload, 0, kPiece), 0x0021).downloads(0, part(payload, 0, kPiece));
  confirms(m_drive.downloads(kPiece, part(payload, kPiece, 4)).readsSlots().commits(2));
  EXPECT_EQ(update(payload), 0);
}

TEST_F(FirmwareUpdateTest, ALostPathIsNeverRepeatedForTheDriveMayHaveForgottenTheDownload) {
  for (const int lost : {0x0370, 0x0371, 0x0007, 0x0008}) {
    ready().downloads(0, m_tiny, lost).within(0ms);
    EXPECT_EQ(update(m_tiny), lost);
  }
}

TEST_F(FirmwareUpdateTest, AnythingElseMayBeAskedAgainWhenThePathIsLost) {
  m_drive.opens().locks().identifies({}, 0x0370).identifies({}, 0x0371).identifies({}, 0x0007).identifies();
  m_drive.within(kMinute).readsSlots({}, 0x0370).readsSlots().downloads(0, m_tiny).readsSlots();
  confirms(m_drive.commits(2));
  EXPECT_EQ(update(m_tiny), 0);
}

TEST_F(FirmwareUpdateTest, ALostCommitIsNeverRepeated) {
  for (const int lost : {0x0370, 0x0371, 0x0007, 0x0008}) {
    downloaded().commits(2, lost).within(0ms);
    EXPECT_EQ(update(m_tiny), lost);
  }
}

TEST_F(FirmwareUpdateTest, ADriveThatIsBeingResetIsWaitedForButNotForLong) {
  for (const char* const state : {"resetting", "connecting", "new", "live"}) {
    SCOPED_TRACE(state);
    m_host.writeAttribute("nvme0", "state", state);
    const auto before = m_host.slept();
    for (int i = 0; i < 10; ++i) m_drive.opens(-EAGAIN);
    confirms(downloaded().commits(2)).within(0ms);
    EXPECT_EQ(update(m_tiny), 0);
    EXPECT_EQ(m_host.slept() - before, 5s);
  }
  for (int i = 0; i <= 10; ++i) m_drive.opens(-EAGAIN);
  EXPECT_EQ(update(m_tiny), -EAGAIN);
}

TEST_F(FirmwareUpdateTest, ADriveThatTheKernelHasGivenUpIsNotWaitedFor) {
  for (const char* const state : {"dead", "deleting", "deleting (no IO)"}) {
    m_host.writeAttribute("nvme0", "state", state);
    m_drive.opens(-EAGAIN);
    EXPECT_EQ(update(m_tiny), -EAGAIN) << state;
  }
  EXPECT_EQ(m_host.slept(), 0ms);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: nvme0 cannot be opened: Resource temporarily unavailable (errno "
            "11); its state is deleting (no IO)");
}

TEST_F(FirmwareUpdateTest, AStatusOfACommitThatADownloadReturnsIsNoSuccess) {
  ready().downloads(0, m_tiny, 0x410B);
  EXPECT_EQ(update(m_tiny), -EPROTO);
}

TEST_F(FirmwareUpdateTest, WhatNeverReachedTheDriveIsANegativeErrorNumber) {
  ready().downloads(0, m_tiny, -EINTR).within(0ms);
  EXPECT_EQ(update(m_tiny), -EINTR);
  m_drive.opens().locks().identifies({}, -ENODEV);
  EXPECT_EQ(update(m_tiny), -ENODEV);
  EXPECT_EQ(lastReport(), "err: NVMe drive 0000:04:00.0: Identify Controller: No such device (errno 19)");
}

TEST_F(FirmwareUpdateTest, ADriveThatVanishesBetweenDownloadAndCommitFails) {
  downloaded().commits(2, -ENODEV).within(0ms);
  EXPECT_EQ(update(m_tiny), -ENODEV);
  ready().downloads(0, m_tiny).readsSlots({}, -ENODEV);
  EXPECT_EQ(update(m_tiny), -ENODEV);
}

TEST_F(FirmwareUpdateTest, SlotsThatCannotBeReadEndTheUpdate) {
  m_drive.opens().locks().identifies().within(kMinute).readsSlots({}, 0x4109);
  EXPECT_EQ(update(m_tiny), 0x109);
}

// After the commit

TEST_F(FirmwareUpdateTest, ADriveThatIsBusyAfterTheCommitIsAskedAgain) {
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

TEST_F(FirmwareUpdateTest, ADriveThatStaysBusyAfterTheCommitIsCommittedAllTheSame) {
  downloaded().commits(2, 0x410B);
  for (int i = 0; i <= 20; ++i) m_drive.readsSlots({}, -EAGAIN);
  EXPECT_EQ(update(m_tiny), 267);
  EXPECT_EQ(m_host.slept(), 10s);
  EXPECT_EQ(lastReport(),
            "warning: NVMe drive 0000:04:00.0: committed, but it does not answer since: Resource "
            "temporarily unavailable (errno 11)");
}

TEST_F(FirmwareUpdateTest, ADriveMayStayBusyAfterTheCommitForAsLongAsActivationTakes) {
  ready({.activation = 200}).downloads(0, m_tiny).readsSlots().commits(2);
  for (int i = 0; i < 40; ++i) m_drive.readsSlots({}, -EAGAIN);
  confirms(m_drive);
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(m_host.slept(), 20s);
  EXPECT_THAT(lastReport(), HasSubstr("committed to slot 2"));
}

TEST_F(FirmwareUpdateTest, ADriveThatIsGoneAfterTheCommitIsNotWaitedFor) {
  for (const int gone : {-ENODEV, -ENXIO}) {
    downloaded().commits(2).readsSlots({}, gone).within(0ms);
    EXPECT_EQ(update(m_tiny), 0);
  }
  EXPECT_EQ(m_host.slept(), 0ms);
}

TEST_F(FirmwareUpdateTest, ADriveThatRunsTheFirmwareAtOnceIsReportedWithBothRevisions) {
  downloaded().commits(2).readsSlots({.activeInfo = 0x02, .revisions = {"OLD_REV ", "NEW_REV "}});
  m_drive.identifies({.revision = "NEW_REV "});
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "notice: NVMe drive 0000:04:00.0: committed to slot 2; it ran OLD_REV and runs NEW_REV");
}

TEST_F(FirmwareUpdateTest, ASlotLogThatKnowsNothingOfTheCommitIsReported) {
  downloaded().commits(2).readsSlots().identifies();
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(),
            "warning: NVMe drive 0000:04:00.0: committed to slot 2, but its log does not say so; it "
            "runs OLD_REV");
}

TEST_F(FirmwareUpdateTest, ARunningSlotThatWasCommittedToHasToShowIt) {
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

TEST_F(FirmwareUpdateTest, AnActivatedSlotIsNotForTheNextResetWhenAnotherOneIs) {
  downloaded().commits(2).readsSlots({.activeInfo = 0x12}).identifies();
  EXPECT_EQ(update(m_tiny), 0);
  EXPECT_EQ(lastReport(), "notice: NVMe drive 0000:04:00.0: committed to slot 2; it runs OLD_REV");
}

TEST_F(FirmwareUpdateTest, ACommitStandsWhenMemoryRunsOutBehindIt) {
  for (const int status : {0, 0x410B}) {
    downloaded().commits(2, status);
    if (status == 0) confirms(m_drive);
    m_drive.within(0ms);
    m_host.forgetReports();
    EXPECT_EQ(update(m_tiny), status == 0 ? 0 : 267);
  }
}

TEST(PrintableTest, CutsThePaddingAndHidesWhatIsNoText) {
  EXPECT_EQ(printable(std::string("REV 1   ")), "REV 1");
  EXPECT_EQ(printable(std::string("A\0\0\0", 4)), "A");
  EXPECT_EQ(printable(std::string("\x1b[2J\xff\x7f~", 7)), "?[2J??~");
  EXPECT_EQ(printable(std::string("        ")), "");
}

}  // namespace

}  // namespace nvme_linux
