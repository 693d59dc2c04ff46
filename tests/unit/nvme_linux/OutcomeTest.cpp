#include "Outcome.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace nvme_linux {

namespace {

/// What the ioctl gives back: 0, a status of 15 bits, or -errno.
Completion completion(int result) {
  if (result < 0) return {.error = -result};
  return {.statusField = static_cast<std::uint16_t>(result)};
}

Outcome outcome(int result) {
  return Outcome::of(completion(result));
}

Outcome commitOutcome(int result) {
  return Outcome::ofCommit(completion(result));
}

TEST(OutcomeTest, CodeIsTypeAndCodeWhateverStandsAboveThem) {
  for (const int above : {0, 0x0800, 0x1000, 0x1800, 0x2000, 0x4000, 0x7800}) {
    EXPECT_EQ(outcome(above | 0x107).code(), 0x107) << above;
    EXPECT_EQ(outcome(above | 0x00B).code(), 0x00B) << above;
    EXPECT_EQ(outcome(above).code(), 0) << above;
    EXPECT_TRUE(outcome(above).isSuccess()) << above;
  }
}

TEST(OutcomeTest, ThreeStatusesOfACommitOweAReset) {
  for (int status = 1; status <= 0x7FF; ++status) {
    const bool isOwed = status == 0x10B || status == 0x110 || status == 0x111;
    EXPECT_EQ(commitOutcome(status).isResetOwed(), isOwed) << status;
    EXPECT_EQ(commitOutcome(status).isSuccess(), isOwed) << status;
    EXPECT_EQ(commitOutcome(0x4000 | status).code(), isOwed ? 267 : status) << status;
    EXPECT_FALSE(outcome(status).isSuccess()) << status;
  }
  EXPECT_FALSE(commitOutcome(0).isResetOwed());
  EXPECT_FALSE(commitOutcome(-EIO).isSuccess());
}

TEST(OutcomeTest, OnlyACommitReturnsTheCodeThatCallersTakeForSuccess) {
  EXPECT_EQ(outcome(0x10B).code(), -EPROTO);
  EXPECT_EQ(outcome(0x410B).code(), -EPROTO);
  EXPECT_EQ(Outcome::resetOwed().code(), 267);
}

TEST(OutcomeTest, RepeatsOnlyWhatTheDriveDoesNotForbid) {
  for (const int result : {0x006, 0x021, 0x082, 0x11E, 0x2006, 0x1806}) {
    EXPECT_TRUE(outcome(result).mayBeRepeated()) << result;
    EXPECT_FALSE(outcome(0x4000 | result).mayBeRepeated()) << result;
  }
  for (const int result : {0x106, 0x107, 0x112, 0x113, 0x114, 0x2107}) {
    EXPECT_FALSE(outcome(result).mayBeRepeated()) << result << ", which would be the same again";
  }
  for (const int result : {0, -EIO, -ENODEV, -EINTR}) EXPECT_FALSE(outcome(result).mayBeRepeated()) << result;
}

TEST(OutcomeTest, AbortsAndLostPathsAreNoAnswersOfTheDrive) {
  for (const int result : {0x007, 0x008, 0x300, 0x370, 0x371, 0x4371, -EIO, -EINTR}) {
    EXPECT_TRUE(outcome(result).isLost()) << result;
  }
  for (const int result : {0, 0x006, 0x107, 0x10B, 0x4002}) EXPECT_FALSE(outcome(result).isLost()) << result;
}

TEST(OutcomeTest, AFailureIsANegativeErrorNumber) {
  EXPECT_EQ(outcome(-ENODEV).code(), -ENODEV);
  EXPECT_TRUE(outcome(-ENODEV).failedWith(ENODEV));
  EXPECT_FALSE(outcome(-ENODEV).failedWith(EIO));
  EXPECT_FALSE(outcome(0x4000 | ENODEV).failedWith(ENODEV)) << "a status is no errno";
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
  for (const auto& [status, description] : cases) EXPECT_EQ(outcome(status).text(), description);
}

TEST(OutcomeTest, DescribesStatusesByNameAndNumber) {
  EXPECT_EQ(outcome(0x107).text(), "Invalid Firmware Image (0x107)");
  EXPECT_EQ(outcome(0x6107).text(), "Invalid Firmware Image (0x107, do not retry)");
  EXPECT_EQ(outcome(0x7C1).text(), "unnamed status (0x7C1)");
  EXPECT_EQ(outcome(-ENODEV).text(), "No such device (errno 19)");
}

}  // namespace

}  // namespace nvme_linux
