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
    EXPECT_EQ(update(payload), 0);
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

TEST_F(DownloadTest, ADriveWithoutRestrictionGetsUsualPieces) {
  const Bytes payload = image(kPiece + 4);
  ready({.granularity = 0xFF})
      .downloads(0, part(payload, 0, kPiece))
      .downloads(kPiece, part(payload, kPiece, 4));
  m_drive.readsSlots().commits(2).readsSlots(kStaged).identifies();
  EXPECT_EQ(update(payload), 0);
}

TEST_F(DownloadTest, TransferLimitIsAPowerOfTwoOfPages) {
  const Bytes payload = image(16384);
  ready({.transferShift = 1, .granularity = 4}).downloads(0, part(payload, 0, 8192));
  m_drive.downloads(8192, part(payload, 8192, 8192)).readsSlots().commits(2).readsSlots(kStaged).identifies();
  EXPECT_EQ(update(payload), 0);
}

TEST_F(DownloadTest, ATransferLimitBeyondAnyTransferIsNone) {
  for (const std::uint8_t shift : std::initializer_list<std::uint8_t>{0, 16, 0xFF}) {
    const Bytes payload = image(16384);
    ready({.transferShift = shift, .granularity = 4}).downloads(0, payload);
    confirms(m_drive.readsSlots().commits(2)).within(0ms);
    EXPECT_EQ(update(payload), 0);
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
  EXPECT_EQ(update(payload), 0);
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
  EXPECT_EQ(update(payload), 0);
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
  EXPECT_EQ(update(payload), 0);
}

TEST_F(DownloadTest, ALostPathIsNeverRepeatedForTheDriveMayHaveForgottenTheDownload) {
  for (const int lost : {0x0370, 0x0371, 0x0007, 0x0008}) {
    ready().downloads(0, m_tiny, lost).within(0ms);
    EXPECT_EQ(update(m_tiny), lost);
  }
}

TEST_F(DownloadTest, AnythingElseMayBeAskedAgainWhenThePathIsLost) {
  m_drive.opens().locks().identifies({}, 0x0370).identifies({}, 0x0371).identifies({}, 0x0007).identifies();
  m_drive.within(kMinute).readsSlots({}, 0x0370).readsSlots().downloads(0, m_tiny).readsSlots();
  confirms(m_drive.commits(2));
  EXPECT_EQ(update(m_tiny), 0);
}

}  // namespace

}  // namespace nvme_linux
