#include "Drives.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "ScriptedHost.h"

namespace nvme_linux {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DrivesTest : public ::testing::Test {
 protected:
  DrivesTest() {
    m_host.writeSystemFile("proc/self/mountinfo", "20 1 259:0 / /data rw - ext4 /dev/nvme0n1 rw\n");
    m_host.writeSystemFile("proc/swaps", "");
  }

  void addPort(const std::string& name, const std::string& address, const std::string& subsystem) {
    m_host.addController(name, address);
    m_host.writeAttribute(name, "serial", "SN-0001");
    m_host.writeAttribute(name, "model", "Model A");
    m_host.writeAttribute(name, "firmware_rev", "STALE   ");
    m_host.writeAttribute(name, "subsysnqn", subsystem);
  }

  ScriptedHost m_host;
};

TEST_F(DrivesTest, ADriveTellsWhatItIsAndWhatItRuns) {
  addPort("nvme0", "10000:04:00.0", "nqn.a");
  m_host.drive("nvme0")
      .opens()
      .identifies({.revision = "NOW     "})
      .readsSlots({.activeInfo = 0x29, .revisions = {"NOW     ", "NEXT    "}})
      .readsHealth(0x04);
  const auto drives = readDrives(m_host);
  ASSERT_EQ(drives.size(), 1U);
  const DriveFacts& drive = drives[0];
  EXPECT_EQ(drive.controller.name, "nvme0");
  EXPECT_EQ(textOf(drive.controller.address.value()), "10000:04:00.0");
  EXPECT_EQ(drive.controller.serial, "SN-0001");
  EXPECT_EQ(drive.controller.model, "Model A");
  EXPECT_EQ(drive.runningRevision, "NOW");
  EXPECT_EQ(drive.stagedRevision(), "NEXT");
  EXPECT_EQ(drive.slots->running, 1U);
  EXPECT_EQ(drive.slots->next, 2U);
  EXPECT_FALSE(drive.slots->isBusy(drive.runningRevision))
      << "some drives set the bit while firmware is staged";
  EXPECT_EQ(drive.health->criticalWarning, 4);
  EXPECT_THAT(drive.siblings, IsEmpty());
}

TEST_F(DrivesTest, WithoutRootSysfsIsAllThereIs) {
  addPort("nvme0", "0000:04:00.0", "nqn.a");
  m_host.drive("nvme0").opens(-EACCES);
  m_host.writeSystemFile("sys/class/nvme/nvme0/nvme0n1/nsid", "1\n");
  m_host.writeSystemFile("sys/class/block/nvme0n1/dev", "259:0\n");
  m_host.writeSystemFile("sys/class/nvme/nvme0/nvme0n2/nsid", "2\n");
  m_host.hold("nvme0n2", EACCES);
  const DriveFacts drive = readDrives(m_host).at(0);
  EXPECT_EQ(drive.runningRevision, "STALE");
  EXPECT_EQ(drive.stagedRevision(), "");
  EXPECT_FALSE(drive.identity || drive.slots || drive.health);
  EXPECT_EQ(drive.uses.at(0).text(), "nvme0n1: mounted on /data");
  EXPECT_FALSE(drive.areUsesComplete);
  EXPECT_THAT(m_host.reports(), IsEmpty()) << "looking is no event";
}

TEST_F(DrivesTest, PortsOfADriveKnowEachOtherAndShareItsUses) {
  addPort("nvme0", "0000:04:00.0", "nqn.a");
  addPort("nvme1", "0000:05:00.0", "nqn.a");
  addPort("nvme2", "0000:06:00.0", "nqn.b");
  m_host.writeSystemFile("sys/class/nvme/nvme0/nvme0n1/nsid", "1\n");
  m_host.writeSystemFile("sys/class/block/nvme0n1/dev", "259:0\n");
  for (const char* const name : {"nvme0", "nvme1", "nvme2"})
    m_host.drive(name).opens().identifies().readsSlots().readsHealth(0);
  const auto drives = readDrives(m_host);
  ASSERT_EQ(drives.size(), 3U);
  EXPECT_THAT(drives[0].siblings, ElementsAre("nvme1"));
  EXPECT_THAT(drives[1].siblings, ElementsAre("nvme0"));
  EXPECT_THAT(drives[2].siblings, IsEmpty());
  EXPECT_EQ(drives[1].uses.size(), 1U);
  EXPECT_THAT(drives[2].uses, IsEmpty());
}

TEST_F(DrivesTest, AControllerInResetIsNotWaitedFor) {
  addPort("nvme0", "0000:04:00.0", "nqn.a");
  m_host.drive("nvme0").opens(-EAGAIN);
  EXPECT_EQ(readDrives(m_host).at(0).runningRevision, "STALE");
  EXPECT_EQ(m_host.slept(), std::chrono::milliseconds(0));
}

TEST_F(DrivesTest, ANodeOfAnotherDriveTellsNothing) {
  addPort("nvme0", "0000:04:00.0", "nqn.a");
  m_host.writeAttribute("nvme0", "dev", "240:7");
  m_host.drive("nvme0").opens();
  EXPECT_FALSE(readDrives(m_host).at(0).identity);
}

}  // namespace

}  // namespace nvme_linux
