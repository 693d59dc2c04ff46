#include "FirmwareUpdateFixture.h"

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::Not;

using DownloadTest = FirmwareUpdateFixture;

TEST_F(DownloadTest, DownloadsWholePiecesAndALastOneOfItsTrueLength) {
  for (const std::size_t size : {kPiece, 3 * kPiece, 3 * kPiece + 4, 2 * kPiece - 4, kPiece + 2048}) {
    SCOPED_TRACE(size);
    const Bytes payload = image(size);
    ready();
    for (std::size_t offset = 0; offset < size; offset += kPiece) {
      m_drive.downloads(offset, part(payload, offset, std::min(kPiece, size - offset)));
    }
    confirms(m_drive.readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(payload), kWaitsForReset);
  }
}

TEST_F(DownloadTest, PiecesHaveTheDrivesGranularity) {
  const Bytes payload = image(20000);
  ready({.granularity = 2}).downloads(0, part(payload, 0, 8192)).downloads(8192, part(payload, 8192, 8192));
  m_drive.downloads(16384, part(payload, 16384, 3616))
      .readsSlots()
      .commits(2)
      .readsSlots(kStaged)
      .identifies();
  EXPECT_EQ(update(payload), kWaitsForReset);
}

TEST(PieceSizeTest, IsTheGranularityWithinTheLimitOfTheDrive) {
  const auto size = [](std::size_t granularity, std::size_t maximumTransfer) {
    Identity identity{};
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
  EXPECT_EQ(size(4, 0), 131072U);
  EXPECT_EQ(size(4, 65536), 65536U);
}

TEST_F(DownloadTest, ADriveWithoutRestrictionGetsLargePieces) {
  constexpr std::size_t kLarge = 131072;
  const Bytes payload = image(kLarge + 4);
  ready({.granularity = 0xFF})
      .downloads(0, part(payload, 0, kLarge))
      .downloads(kLarge, part(payload, kLarge, 4));
  confirms(m_drive.readsSlots().commits(2));
  EXPECT_EQ(update(payload), kWaitsForReset);
}

TEST_F(DownloadTest, TransferLimitIsAPowerOfTwoOfPages) {
  const Bytes payload = image(16384);
  ready({.transferShift = 1, .granularity = 4}).downloads(0, part(payload, 0, 8192));
  m_drive.downloads(8192, part(payload, 8192, 8192)).readsSlots().commits(2).readsSlots(kStaged).identifies();
  EXPECT_EQ(update(payload), kWaitsForReset);
}

TEST_F(DownloadTest, ATransferLimitBeyondAnyTransferIsNone) {
  for (const std::uint8_t shift : std::initializer_list<std::uint8_t>{0, 16, 0xFF}) {
    const Bytes payload = image(16384);
    ready({.transferShift = shift, .granularity = 4}).downloads(0, payload);
    confirms(m_drive.readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(payload), kWaitsForReset);
  }
}

TEST_F(DownloadTest, PiecesShrinkToWhatTheKernelTransfersAtOnce) {
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
  EXPECT_EQ(update(payload), kWaitsForReset);
  EXPECT_EQ(m_host.slept(), 0ms);
  EXPECT_THAT(m_host.reports(),
              Contains("info: NVMe drive 0000:04:00.0: the kernel refused a piece of 20480 bytes; pieces "
                       "have 8192 bytes from here on"));
  EXPECT_THAT(m_host.reports(), Not(Contains(HasSubstr("err:"))));
}

TEST_F(DownloadTest, AShortPieceShrinksByItsOwnLength) {
  const Bytes payload = image(8192);
  ready({.granularity = 4})
      .downloads(0, payload, -EINVAL)
      .downloads(0, part(payload, 0, 4096))
      .downloads(4096, part(payload, 4096, 4096));
  confirms(m_drive.readsSlots().commits(2));
  EXPECT_EQ(update(payload), kWaitsForReset);
}

TEST_F(DownloadTest, AUsualPieceThatTheKernelRefusesEndsTheUpdate) {
  const Bytes payload = image(2 * kPiece);
  ready().downloads(0, part(payload, 0, kPiece), -EINVAL).within(0ms);
  EXPECT_EQ(update(payload), -EINVAL);
  EXPECT_EQ(lastReport(),
            "err: NVMe drive 0000:04:00.0: the kernel refused a piece of 4096 bytes; the update ends");
  ready({.granularity = 2}).downloads(0, m_tiny, -EINVAL);
  EXPECT_EQ(update(m_tiny), -EINVAL);
}

TEST_F(DownloadTest, ARefusedPieceEndsTheUpdate) {
  const Bytes payload = image(3 * kPiece);
  ready().downloads(0, part(payload, 0, kPiece)).downloads(kPiece, part(payload, kPiece, kPiece), 0x4114);
  EXPECT_EQ(update(payload), 0x114);
}

TEST_F(DownloadTest, APieceIsRepeatedWhereItMayBe) {
  const Bytes payload = image(kPiece + 4);
  ready().downloads(0, part(payload, 0, kPiece), 0x0021).downloads(0, part(payload, 0, kPiece));
  confirms(m_drive.downloads(kPiece, part(payload, kPiece, 4)).readsSlots().commits(2));
  EXPECT_EQ(update(payload), kWaitsForReset);
}

TEST_F(DownloadTest, AnythingElseMayBeAskedAgainWhenThePathIsLost) {
  m_drive.opens().locks().identifies({}, 0x0370).identifies({}, 0x0371).identifies({}, 0x0007).identifies();
  m_drive.within(kMinute).readsSlots({}, 0x0370).readsSlots().downloads(0, m_tiny).readsSlots();
  confirms(m_drive.commits(2));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

TEST_F(DownloadTest, AnImageThatIsNoMultipleOfTheGranularityIsNamedBeforeAByteIsSent) {
  m_drive.opens().locks().identifies({.granularity = 2}).within(kMinute).readsSlots({}, 0x4006);
  EXPECT_EQ(update(image(8196)), 0x006);
  EXPECT_EQ(
      m_host.reports().front(),
      "warning: NVMe drive 0000:04:00.0: the image has 8196 bytes, no multiple of the drive's granularity "
      "of 8192; the drive may refuse the last piece");
}

// Answers that are lost

TEST_F(DownloadTest, ALostPieceIsSentAgainOnce) {
  const Bytes payload = image(2 * kPiece);
  for (const int lost : {0x0370, 0x0371, 0x0007, 0x0008, -EINTR}) {
    ready().downloads(0, part(payload, 0, kPiece), lost).readsSlots({}, 0x4370).readsSlots();
    m_drive.downloads(0, part(payload, 0, kPiece)).downloads(kPiece, part(payload, kPiece, kPiece));
    confirms(m_drive.readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(payload), kWaitsForReset);
  }
}

TEST_F(DownloadTest, ALostPieceThatTheDriveHadStoredIsNoFailure) {
  const Bytes payload = image(2 * kPiece);
  ready().downloads(0, part(payload, 0, kPiece)).downloads(kPiece, part(payload, kPiece, kPiece), 0x0007);
  m_drive.readsSlots().downloads(kPiece, part(payload, kPiece, kPiece), 0x4114);
  confirms(m_drive.readsSlots().commits(2));
  EXPECT_EQ(update(payload), kWaitsForReset);
}

TEST_F(DownloadTest, APieceThatIsLostTwiceEndsTheUpdate) {
  ready().downloads(0, m_tiny, 0x0007).readsSlots().downloads(0, m_tiny, 0x0371);
  EXPECT_EQ(update(m_tiny), 0x371);
}

TEST_F(DownloadTest, ADriveThatDoesNotComeBackAfterALostPieceIsLost) {
  m_host.setCapabilities("nvme0", 2U << 24);
  ready().downloads(0, m_tiny, 0x0371);
  for (int i = 0; i <= 2; ++i) m_drive.readsSlots({}, 0x4370);
  EXPECT_EQ(update(m_tiny), 0x371);
  EXPECT_EQ(m_host.slept(), 1s);
}

// Resets in the middle

TEST_F(DownloadTest, AResetBetweenTwoPiecesStartsTheDownloadAgain) {
  const Bytes payload = image(2 * kPiece);
  ready().downloads(0, part(payload, 0, kPiece)).andIsReset().readsSlots().identifies();
  m_drive.readsSlots()
      .downloads(0, part(payload, 0, kPiece))
      .downloads(kPiece, part(payload, kPiece, kPiece));
  confirms(m_drive.readsSlots().commits(2));
  EXPECT_EQ(update(payload), kWaitsForReset);
  EXPECT_THAT(
      m_host.reports(),
      Contains("warning: NVMe drive 0000:04:00.0: the controller was reset; the download starts again"));
}

TEST_F(DownloadTest, AResetAfterTheLastPieceStartsTheDownloadAgain) {
  ready().downloads(0, m_tiny).readsSlots().andIsReset().readsSlots().identifies();
  m_drive.readsSlots().downloads(0, m_tiny);
  confirms(m_drive.readsSlots().commits(2));
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

TEST_F(DownloadTest, AResetThatLosesAPieceStartsTheDownloadAgainInsteadOfSendingItAgain) {
  const Bytes payload = image(2 * kPiece);
  for (const bool isTold : {true, false}) {
    if (!isTold) m_host.concealResets();
    ready().downloads(0, part(payload, 0, kPiece)).downloads(kPiece, part(payload, kPiece, kPiece), 0x0371);
    if (isTold) m_drive.andIsReset();
    m_drive.readsSlots().readsSlots().identifies().readsSlots();
    m_drive.downloads(0, part(payload, 0, kPiece)).downloads(kPiece, part(payload, kPiece, kPiece));
    confirms(m_drive.readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(payload), kWaitsForReset);
  }
}

TEST_F(DownloadTest, TheSlotIsChosenAnewAfterAReset) {
  const SlotLog staged{.activeInfo = 0x21, .revisions = {"OLD_REV ", "MID_REV "}};
  const SlotLog activated{.activeInfo = 0x02, .revisions = {"OLD_REV ", "MID_REV "}};
  ready({}, staged)
      .downloads(0, m_tiny)
      .andIsReset()
      .readsSlots(activated)
      .identifies({.revision = "MID_REV "});
  m_drive.readsSlots(activated).downloads(0, m_tiny).readsSlots(activated).commits(3);
  m_drive.readsSlots({.activeInfo = 0x32, .revisions = {"OLD_REV ", "MID_REV ", "NEW_REV "}})
      .identifies({.revision = "MID_REV "});
  EXPECT_EQ(update(m_tiny), kWaitsForReset);
}

TEST_F(DownloadTest, ADriveThatIsResetAgainAndAgainIsGivenUp) {
  m_drive.opens().locks().identifies().within(kMinute);
  for (int i = 0; i <= 3; ++i)
    m_drive.readsSlots().downloads(0, m_tiny).andIsReset().readsSlots().identifies();
  EXPECT_EQ(update(m_tiny), -ECONNRESET);
}

TEST_F(DownloadTest, WhatRunsAfterAResetIsWhatTheUpdateStartsFrom) {
  m_supported = SupportedDrives(std::set<SupportedModel>{{kIds, std::nullopt, "OLD_REV"}});
  ready().downloads(0, m_tiny).andIsReset().readsSlots().identifies({.revision = "MID_REV "});
  EXPECT_EQ(update(m_tiny), -EPERM);
}

// Downloads that somebody left unfinished

TEST_F(DownloadTest, AnUnfinishedDownloadIsStartedOverOnce) {
  const Bytes payload = image(2 * kPiece);
  ready().downloads(0, part(payload, 0, kPiece)).downloads(kPiece, part(payload, kPiece, kPiece), 0x0114);
  m_drive.downloads(0, part(payload, 0, kPiece)).downloads(kPiece, part(payload, kPiece, kPiece));
  confirms(m_drive.readsSlots().commits(2));
  EXPECT_EQ(update(payload), kWaitsForReset);
  EXPECT_EQ(
      m_host.reports().at(1),
      "warning: NVMe drive 0000:04:00.0: the drive holds a download that was left unfinished; starting over");
}

TEST_F(DownloadTest, AnUnfinishedDownloadThatStaysIsReportedWithItsRemedy) {
  const std::string remedy =
      "err: NVMe drive 0000:04:00.0: the drive holds a download that was left unfinished; a controller reset "
      "ends it: echo 1 >/sys/class/nvme/nvme0/reset_controller";
  ready().downloads(0, m_tiny, 0x0114).downloads(0, m_tiny, 0x0114).within(0ms);
  EXPECT_EQ(update(m_tiny), 0x114);
  EXPECT_EQ(lastReport(), remedy);
  ready().downloads(0, m_tiny, 0x4114);
  EXPECT_EQ(update(m_tiny), 0x114) << "which forbids to send it again";
  EXPECT_EQ(lastReport(), remedy);
}

}  // namespace

}  // namespace nvme_linux
