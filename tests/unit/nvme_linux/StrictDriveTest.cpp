// Updates of a drive that forgives nothing, with faults at every command and in random order. Whatever
// happens, the result must be true, and the drive must keep firmware that it can run.

#include "StrictDrive.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <random>

#include "FirmwareUpdate.h"

namespace nvme_linux {

namespace {

using Fault = StrictDrive::Fault;
constexpr std::size_t kSize = 3 * 4096 + 100;
constexpr int kStored = 267;

const SupportedDrives kSupported(std::set<SupportedModel>{
    {{.vendor = 0x144D, .device = 0xA801, .subVendor = 0x1028, .subDevice = 0x1FD9}, {}, {}}});

class Machine {
 public:
  explicit Machine(const StrictDrive::Options& options = {}, unsigned int ports = 1)
      : drive(options), controllers(ports) {}

  /// An update by a process of its own.
  int update(const Bytes& image) {
    StrictHost host(drive, m_locks, controllers);
    const int code = FirmwareUpdate(host, kSupported, host.controllers(), image).run().code();
    log += host.log();
    return code;
  }

  StrictDrive drive;
  unsigned int controllers;
  std::string log;

 private:
  std::map<std::string, int> m_locks;
};

unsigned int slotWith(const StrictDrive& drive, const Bytes& image) {
  for (unsigned int slot = 1; slot <= drive.options().slots; ++slot) {
    if (drive.imageIn(slot) == image) return slot;
  }
  return 0;
}

/// What must be true after any update.
void expectTruth(const Machine& machine, int code, const Bytes& before, const Bytes& image) {
  const StrictDrive& drive = machine.drive;
  const unsigned int stored = slotWith(drive, image);
  EXPECT_LE(drive.commits(), 1) << "a commit was sent again";
  EXPECT_EQ(drive.commits() == 1, stored != 0);
  if (code == 0 || code == kStored) {
    EXPECT_NE(stored, 0U) << "a success that is none";
    EXPECT_TRUE(stored == (code == 0 ? drive.running() : drive.next()));
  } else {
    EXPECT_EQ(stored, 0U) << "a failure that is none";
  }
  const StrictDrive::Options& options = drive.options();
  const bool hasChoice = options.slots > (options.isFirstSlotReadOnly ? 2U : 1U);
  // A reset may activate what was staged before, and then that is the firmware to keep.
  if (hasChoice && drive.resets() == 0) {
    EXPECT_NE(slotWith(drive, before), 0U) << "the firmware that ran is lost";
  }
}

void updateWith(StrictDrive::Options options, const std::vector<Fault>& faults) {
  Machine machine(options);
  machine.drive.faults.assign(faults.begin(), faults.end());
  const Bytes before = machine.drive.imageIn(machine.drive.running());
  const Bytes image = strictImage(kSize, 'N');
  const int code = machine.update(image);
  expectTruth(machine, code, before, image);
  EXPECT_LT(machine.drive.clock, std::chrono::hours(1));
  if (::testing::Test::HasFailure()) ADD_FAILURE() << "result " << code << "\n" << machine.log;
}

TEST(StrictDriveTest, AnUpdateWithoutFaultsIsStaged) {
  Machine machine;
  EXPECT_EQ(machine.update(strictImage(kSize, 'N')), kStored) << machine.log;
  EXPECT_EQ(machine.drive.next(), 2U);
  machine.drive.reset();
  EXPECT_EQ(machine.drive.imageIn(machine.drive.running()), strictImage(kSize, 'N'));
}

TEST(StrictDriveTest, TheTruthIsToldAfterAnyFaultAtAnyCommand) {
  for (int fault = 1; fault <= static_cast<int>(Fault::kEverythingIsSlow); ++fault) {
    for (std::size_t command = 0; command < 5; ++command) {
      SCOPED_TRACE("fault " + std::to_string(fault) + " at command " + std::to_string(command));
      std::vector<Fault> faults(command);
      faults.push_back(static_cast<Fault>(fault));
      updateWith({}, faults);
      updateWith({.isLive = true}, faults);
      updateWith({.next = 2}, faults);
      updateWith({.slots = 1}, faults);
      if (::testing::Test::HasFailure()) return;
    }
  }
}

TEST(StrictDriveTest, TheTruthIsToldAfterRandomFaults) {
  for (unsigned int seed = 0; seed < 400; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const auto below = [&random](unsigned int bound) { return static_cast<unsigned int>(random() % bound); };
    StrictDrive::Options options;
    options.slots = 2 + below(6);
    options.isFirstSlotReadOnly = below(2) == 0;
    options.running = 1 + below(options.slots);
    options.next = below(options.slots + 1);
    if (options.next == options.running || (options.next == 1 && options.isFirstSlotReadOnly))
      options.next = 0;
    options.granularity = std::size_t{4096} << below(3);
    options.isLive = below(2) == 0;
    std::vector<Fault> faults(12);
    for (Fault& fault : faults) {
      if (below(4) == 0) fault = static_cast<Fault>(below(8));
    }
    updateWith(options, faults);
    if (::testing::Test::HasFailure()) return;
  }
}

TEST(StrictDriveTest, RepeatedUpdatesBeforeAResetCostNoFurtherImage) {
  Machine machine({.slots = 3, .running = 2, .next = 3});
  const Bytes running = machine.drive.imageIn(2);
  for (const char revision : {'C', 'D', 'D', 'E'}) {
    EXPECT_EQ(machine.update(strictImage(kSize, revision)), kStored);
    EXPECT_EQ(machine.drive.next(), 3U);
  }
  EXPECT_EQ(machine.drive.imageIn(2), running);
  EXPECT_TRUE(machine.drive.imageIn(1).empty());
}

TEST(StrictDriveTest, AnImageStagedInTheRunningSlotIsTheOneToWriteAgain) {
  Machine machine({.slots = 3, .running = 2, .next = 2});
  for (const char revision : {'C', 'D', 'D'}) {
    EXPECT_EQ(machine.update(strictImage(kSize, revision)), kStored);
    EXPECT_EQ(machine.drive.next(), 2U);
  }
  EXPECT_TRUE(machine.drive.imageIn(1).empty());
  EXPECT_TRUE(machine.drive.imageIn(3).empty());
}

TEST(StrictDriveTest, ASecondRunThroughEitherPortNeverTouchesAnUpdateThatGoesOn) {
  for (std::size_t at = 0; at < 5; ++at) {
    Machine machine({}, 2);
    const Bytes image = strictImage(kSize, 'N');
    std::size_t commands = 0;
    int second = 0;
    machine.drive.beforeFirmwareCommand = [&] {
      if (commands++ == at) second = machine.update(strictImage(kSize, 'X'));
    };
    EXPECT_EQ(machine.update(image), kStored) << machine.log;
    EXPECT_EQ(second, -EBUSY);
    EXPECT_EQ(slotWith(machine.drive, image), 2U);
    EXPECT_EQ(machine.drive.commits(), 1);
  }
}

TEST(StrictDriveTest, ADownloadThatAnotherProgramLeftIsNamed) {
  Machine machine({}, 2);
  Bytes piece(4096, 1);
  nvme_passthru_cmd command{};
  command.opcode = 0x11;
  command.addr = reinterpret_cast<std::uintptr_t>(piece.data());
  command.data_len = 4096;
  command.cdw10 = 1023;
  EXPECT_EQ(machine.drive.carryOut("nvme1", command).statusField, 0);
  EXPECT_EQ(machine.update(strictImage(kSize, 'N')), 0x114);
  EXPECT_NE(machine.log.find("echo 1 >/sys/class/nvme/nvme0/reset_controller"), std::string::npos)
      << machine.log;
  machine.drive.reset();
  EXPECT_EQ(machine.update(strictImage(kSize, 'N')), kStored);
}

}  // namespace

}  // namespace nvme_linux
