#include "Outcome.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace nvme_linux {

namespace {

TEST(OutcomeTest, StatusIsTypeAndCodeWhateverStandsAboveThem) {
  for (const int above : {0, 0x0800, 0x1000, 0x1800, 0x2000, 0x4000, 0x7800}) {
    EXPECT_EQ(status::statusOf(above | 0x10B), 0x10B) << above;
    EXPECT_EQ(status::statusOf(above | 0x00B), 0x00B) << above;
    EXPECT_EQ(status::statusOf(above), 0) << above;
  }
}

TEST(OutcomeTest, ThreeStatusesOweAReset) {
  for (int status = 0; status <= 0x7FF; ++status) {
    const bool owed = status == 0x10B || status == 0x110 || status == 0x111;
    EXPECT_EQ(status::isResetOwed(status), owed) << status;
    EXPECT_EQ(status::isResetOwed(0x4000 | status), owed) << status;
  }
  EXPECT_FALSE(status::isResetOwed(0x10B - 0x800));
}

TEST(OutcomeTest, RepeatsOnlyWhatTheDriveDoesNotForbid) {
  for (const int result : {0x006, 0x021, 0x082, 0x107, 0x114, 0x2006, 0x1806}) {
    EXPECT_TRUE(status::mayRepeat(result)) << result;
    EXPECT_FALSE(status::mayRepeat(0x4000 | result)) << result;
  }
  for (const int result : {-EIO, -ENODEV, -EINTR}) EXPECT_FALSE(status::mayRepeat(result)) << result;
}

TEST(OutcomeTest, AbortsAndLostPathsAreNoAnswersOfTheDrive) {
  for (const int result : {0x007, 0x008, 0x300, 0x370, 0x371, 0x4371, -EIO, -EINTR}) {
    EXPECT_TRUE(status::isLost(result)) << result;
  }
  for (const int result : {0x006, 0x107, 0x10B, 0x4002}) EXPECT_FALSE(status::isLost(result)) << result;
}

TEST(OutcomeTest, NamesWhatADriveAnswersToFirmwareCommands) {
  struct {
    int status;
    const char* description;
  } const cases[] = {
      {0x001, "Invalid Command Opcode (0x001)"},
      {0x002, "Invalid Field in Command (0x002)"},
      {0x006, "Internal Error (0x006)"},
      {0x00B, "Invalid Namespace or Format (0x00B)"},
      {0x01D, "Sanitize In Progress (0x01D)"},
      {0x023, "Command Prohibited by Command and Feature Lockdown (0x023)"},
      {0x084, "Format In Progress (0x084)"},
      {0x106, "Invalid Firmware Slot (0x106)"},
      {0x107, "Invalid Firmware Image (0x107)"},
      {0x10B, "Firmware Activation Requires Conventional Reset (0x10B)"},
      {0x110, "Firmware Activation Requires NVM Subsystem Reset (0x110)"},
      {0x111, "Firmware Activation Requires Controller Level Reset (0x111)"},
      {0x112, "Firmware Activation Requires Maximum Time Violation (0x112)"},
      {0x113, "Firmware Activation Prohibited (0x113)"},
      {0x114, "Overlapping Range (0x114)"},
      {0x11E, "Boot Partition Write Prohibited (0x11E)"},
      {0x371, "Command Aborted By Host (0x371)"},
  };
  for (const auto& [status, description] : cases) EXPECT_EQ(status::describe(status), description);
}

TEST(OutcomeTest, DescribesStatusesByNameAndNumber) {
  EXPECT_EQ(status::describe(0x107), "Invalid Firmware Image (0x107)");
  EXPECT_EQ(status::describe(0x6107), "Invalid Firmware Image (0x107, do not retry)");
  EXPECT_EQ(status::describe(0x7C1), "unnamed status (0x7C1)");
  EXPECT_EQ(status::describe(-ENODEV), "No such device (errno 19)");
}

}  // namespace

}  // namespace nvme_linux
