#include "NvmeStatus.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

TEST(NvmeStatusTest, StatusIsTypeAndCodeWhateverStandsAboveThem) {
  for (const int above : {0, 0x0800, 0x1000, 0x1800, 0x2000, 0x4000, 0x7800}) {
    EXPECT_EQ(nvme::statusOf(above | 0x10B), 0x10B) << above;
    EXPECT_EQ(nvme::statusOf(above | 0x00B), 0x00B) << above;
    EXPECT_EQ(nvme::statusOf(above), 0) << above;
  }
}

TEST(NvmeStatusTest, ThreeStatusesOweAReset) {
  for (int status = 0; status <= 0x7FF; ++status) {
    const bool owed = status == 0x10B || status == 0x110 || status == 0x111;
    EXPECT_EQ(nvme::isResetOwed(status), owed) << status;
    EXPECT_EQ(nvme::isResetOwed(0x4000 | status), owed) << status;
  }
  EXPECT_FALSE(nvme::isResetOwed(-0x10B));
}

TEST(NvmeStatusTest, RepeatsOnlyWhatTheDriveDoesNotForbid) {
  for (const int result : {0x006, 0x021, 0x082, 0x107, 0x114, 0x2006, 0x1806}) {
    EXPECT_TRUE(nvme::mayRepeat(result)) << result;
    EXPECT_FALSE(nvme::mayRepeat(0x4000 | result)) << result;
  }
  for (const int result : {-EIO, -ENODEV, -EINTR}) EXPECT_FALSE(nvme::mayRepeat(result)) << result;
}

TEST(NvmeStatusTest, AbortsAndLostPathsAreNoAnswersOfTheDrive) {
  for (const int result : {0x007, 0x008, 0x300, 0x370, 0x371, 0x4371, -EIO, -EINTR}) {
    EXPECT_TRUE(nvme::isLost(result)) << result;
  }
  for (const int result : {0x006, 0x107, 0x10B, 0x4002}) EXPECT_FALSE(nvme::isLost(result)) << result;
}

TEST(NvmeStatusTest, DescribesStatusesByNameAndNumber) {
  EXPECT_EQ(nvme::describe(0x107), "Invalid Firmware Image (0x107)");
  EXPECT_EQ(nvme::describe(0x6107), "Invalid Firmware Image (0x107, do not retry)");
  EXPECT_EQ(nvme::describe(0x00B), "Invalid Namespace or Format (0x00B)");
  EXPECT_EQ(nvme::describe(0x7C1), "unnamed status (0x7C1)");
  EXPECT_EQ(nvme::describe(-ENODEV), "No such device (errno 19)");
}

}  // namespace
