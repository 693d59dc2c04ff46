#include "DriveUse.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "ScriptedHost.h"

namespace nvme_linux {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

/// The drive nvme0 with one namespace, nvme0n1, as block device 259:0.
class DriveUseTest : public ::testing::Test {
 protected:
  DriveUseTest() {
    mount("");
    swap("");
    addNamespace("nvme0", "nvme0n1", "259:0");
  }

  void write(const std::string& path, const std::string& text) { m_host.writeSystemFile(path, text); }

  void addNamespace(const std::string& controller, const std::string& name, const std::string& number) {
    write("sys/class/nvme/" + controller + "/" + name + "/nsid", "1\n");
    addBlock(name, number);
  }

  void addBlock(const std::string& name, const std::string& number) {
    write("sys/class/block/" + name + "/dev", number + "\n");
  }

  void addPartition(const std::string& disk, const std::string& name, const std::string& number) {
    write("sys/class/block/" + disk + "/" + name + "/partition", "1\n");
    addBlock(name, number);
  }

  /// `upper` lies on `lower`.
  void stack(const std::string& lower, const std::string& upper) {
    write("sys/class/block/" + lower + "/holders/" + upper + "/dev", "");
    write("sys/class/block/" + upper + "/slaves/" + lower + "/dev", "");
  }

  /// A healthy array of two on `first` and on `second`.
  void addArray(const std::string& name, const std::string& number, const std::string& level,
                const std::string& first, const std::string& second = "sda") {
    addBlock(name, number);
    const std::string folder = "sys/class/block/" + name + "/md/";
    for (const auto& [attribute, text] : {std::pair{"level", level.c_str()}, std::pair{"degraded", "0"},
                                          std::pair{"sync_action", "idle"}, std::pair{"raid_disks", "2"}}) {
      write(folder + attribute, std::string(text) + "\n");
    }
    stack(first, name);
    stack(second, name);
  }

  void mount(const std::string& lines) { write("proc/self/mountinfo", lines); }
  void swap(const std::string& lines) { write("proc/swaps", "Filename Type Size Used Priority\n" + lines); }

  std::vector<std::string> uses(const std::vector<std::string>& controllers = {"nvme0"}) {
    std::vector<std::string> lines;
    for (const DriveUse& use : usesOf(m_host, controllers, m_isComplete)) lines.push_back(use.text());
    return lines;
  }

  ScriptedHost m_host;
  bool m_isComplete = false;
};

TEST_F(DriveUseTest, AnIdleDriveIsNotUsed) {
  addPartition("nvme0n1", "nvme0n1p1", "259:1");
  mount("20 1 8:1 / / rw - ext4 /dev/sda1 rw\n");
  swap("/dev/sda2 partition 100 0 -2\n");
  EXPECT_THAT(uses(), IsEmpty());
  EXPECT_TRUE(m_isComplete);
}

TEST_F(DriveUseTest, FindsMountsBySeveralNamesOfOneDevice) {
  addPartition("nvme0n1", "nvme0n1p1", "259:1");
  addPartition("nvme0n1", "nvme0n1p2", "259:2");
  addNamespace("nvme0", "nvme0n2", "259:7");
  mount(
      "20 1 259:1 / / rw,noatime shared:1 - ext4 /dev/root rw\n"
      "21 1 259:2 / /srv/my\\040data rw master:1 propagate_from:2 - xfs /dev/nvme0n1p2 rw\n"
      "22 1 259:2 /a /b rw - xfs /dev/nvme0n1p2 rw\n"
      "23 1 259:7 / /scratch rw - ext4 /dev/disk/by-id/x rw\n");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p1: the root file system", "nvme0n1p2: mounted on /srv/my data",
                                  "nvme0n2: mounted on /scratch"));
}

TEST_F(DriveUseTest, FindsSwap) {
  addPartition("nvme0n1", "nvme0n1p3", "259:3");
  swap("/dev/nvme0n1p3 partition 100 0 -2\n/nvme0n1 file 100 0 -3\n");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p3: swap"));
}

TEST_F(DriveUseTest, FollowsHoldersToWhatIsMounted) {
  addPartition("nvme0n1", "nvme0n1p1", "259:1");
  addBlock("dm-0", "253:0");
  addBlock("dm-1", "253:1");
  write("sys/class/block/dm-0/dm/uuid", "CRYPT-LUKS2-x\n");
  write("sys/class/block/dm-1/dm/uuid", "LVM-x\n");
  write("sys/class/block/dm-1/dm/name", "vg-swap\n");
  stack("nvme0n1p1", "dm-0");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p1 through dm-0: a mapped device that is not in use"));
  stack("dm-0", "dm-1");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p1 through dm-0, dm-1: a logical volume that is not in use"));
  swap("/dev/mapper/vg-swap partition 100 0 -2\n");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p1 through dm-0, dm-1: swap"));
}

TEST_F(DriveUseTest, FindsTheHeadOfAMultipathDrive) {
  write("sys/class/nvme/nvme1/nvme0c1n1/nsid", "1\n");
  mount("20 1 259:0 / /data rw - ext4 /dev/nvme0n1 rw\n");
  EXPECT_THAT(uses({"nvme1"}), ElementsAre("nvme0n1: mounted on /data"));
}

TEST_F(DriveUseTest, OtherEntriesOfAControllerAreNoNamespaces) {
  for (const char* const entry :
       {"ng0n1", "nvme0", "nvmen1", "nvme0n", "nvme0x1n1", "nvme0n1p1", "hwmon0", "nvme0cn1x"}) {
    write("sys/class/nvme/nvme1/" + std::string(entry) + "/nsid", "1\n");
    m_host.hold(entry, EBUSY);
  }
  EXPECT_THAT(uses({"nvme1"}), IsEmpty());
  EXPECT_TRUE(m_isComplete);
}

TEST_F(DriveUseTest, FindsEveryDeviceOfABtrfs) {
  addPartition("nvme0n1", "nvme0n1p1", "259:1");
  write("sys/fs/btrfs/uuid/devices/sda/dev", "");
  write("sys/fs/btrfs/uuid/devices/nvme0n1p1/dev", "");
  mount("20 1 0:40 / /pool rw - btrfs /dev/sda rw\n");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p1: mounted on /pool")) << "whose redundancy is unknown";
  mount("");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p1: mounted elsewhere"));
}

TEST_F(DriveUseTest, OnlyAnExclusiveOpeningShowsWhatHoldsADeviceUnseen) {
  addPartition("nvme0n1", "nvme0n1p1", "259:1");
  m_host.hold("nvme0n1p1", EBUSY);
  m_host.hold("nvme0n1", EBUSY);
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p1: held by a pool, a program or another container"));
  EXPECT_TRUE(m_isComplete);
  m_host.hold("nvme0n1p1", 0);
  EXPECT_THAT(uses(), ElementsAre("nvme0n1: held by a pool, a program or another container"));
}

TEST_F(DriveUseTest, IsIncompleteWhereDevicesOrTablesCannotBeOpened) {
  for (const int error : {EACCES, ENOENT}) {
    m_host.hold("nvme0n1", error);
    EXPECT_THAT(uses(), IsEmpty());
    EXPECT_FALSE(m_isComplete);
  }
}

TEST_F(DriveUseTest, AHealthyArrayOfTwoDrivesIsRedundant) {
  for (const std::string level : {"raid1", "raid4", "raid5", "raid6"}) {
    addArray("md0", "9:0", level, "nvme0n1");
    mount("20 1 9:0 / / rw - ext4 /dev/md0 rw\n");
    EXPECT_THAT(uses(), ElementsAre("nvme0n1 through md0: the root file system; md0 has another healthy leg"))
        << level;
  }
}

TEST_F(DriveUseTest, AnArrayThatIsBeingCheckedStaysRedundant) {
  addArray("md0", "9:0", "raid1", "nvme0n1");
  write("sys/class/block/md0/md/sync_action", "check\n");
  EXPECT_THAT(uses(),
              ElementsAre("nvme0n1 through md0: an array that is not in use; md0 has another healthy leg"));
}

TEST_F(DriveUseTest, AnArrayThatIsNotHealthyIsNotRedundant) {
  for (const auto& [attribute, text] :
       {std::pair{"level", "raid0"}, std::pair{"level", "linear"}, std::pair{"level", ""},
        std::pair{"degraded", "1"}, std::pair{"degraded", ""}, std::pair{"sync_action", "resync"},
        std::pair{"sync_action", "recover"}, std::pair{"sync_action", ""}, std::pair{"raid_disks", "1"},
        std::pair{"raid_disks", "?"}}) {
    addArray("md0", "9:0", "raid1", "nvme0n1");
    write(std::string("sys/class/block/md0/md/") + attribute, std::string(text) + "\n");
    EXPECT_THAT(uses(), ElementsAre("nvme0n1 through md0: an array that is not in use")) << attribute << text;
  }
}

TEST_F(DriveUseTest, ARaid10IsRedundantByItsCopies) {
  addArray("md0", "9:0", "raid10", "nvme0n1");
  for (const auto& [layout, isRedundant] :
       {std::pair{"258", true}, std::pair{"513", true}, std::pair{"257", false}, std::pair{"", false}}) {
    write("sys/class/block/md0/md/layout", std::string(layout) + "\n");
    bool isComplete = false;
    EXPECT_EQ(areAllRedundant(usesOf(m_host, {"nvme0"}, isComplete)), isRedundant) << layout;
  }
}

TEST_F(DriveUseTest, AnArrayWithBothLegsOnOneDriveIsNotRedundant) {
  addPartition("nvme0n1", "nvme0n1p1", "259:1");
  addPartition("nvme0n1", "nvme0n1p2", "259:2");
  addBlock("dm-0", "253:0");
  stack("nvme0n1p2", "dm-0");
  addArray("md0", "9:0", "raid1", "nvme0n1p1", "dm-0");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1p1 through md0: an array that is not in use",
                                  "nvme0n1p2 through dm-0, md0: an array that is not in use"));
}

TEST_F(DriveUseTest, BothPortsOfADriveAreOneDrive) {
  addNamespace("nvme1", "nvme1n1", "259:9");
  addArray("md0", "9:0", "raid1", "nvme0n1", "nvme1n1");
  EXPECT_THAT(uses(),
              ElementsAre("nvme0n1 through md0: an array that is not in use; md0 has another healthy leg"));
  EXPECT_THAT(uses({"nvme0", "nvme1"}),
              UnorderedElementsAre("nvme0n1 through md0: an array that is not in use",
                                   "nvme1n1 through md0: an array that is not in use"));
}

TEST_F(DriveUseTest, WhatLiesOnARedundantArrayIsRedundant) {
  addPartition("nvme0n1", "nvme0n1p1", "259:1");
  addPartition("nvme0n1", "nvme0n1p2", "259:2");
  addArray("md0", "9:0", "raid1", "nvme0n1p1");
  addPartition("md0", "md0p1", "259:3");
  addBlock("dm-0", "253:0");
  stack("md0p1", "dm-0");
  mount("20 1 253:0 / /data rw - ext4 /dev/dm-0 rw\n21 1 259:2 / /boot rw - ext4 /dev/nvme0n1p2 rw\n");
  EXPECT_THAT(uses(),
              ElementsAre("nvme0n1p1 through md0, md0p1, dm-0: mounted on /data; md0 has another healthy leg",
                          "nvme0n1p2: mounted on /boot"));
  bool isComplete = false;
  EXPECT_FALSE(areAllRedundant(usesOf(m_host, {"nvme0"}, isComplete)));
}

TEST_F(DriveUseTest, TheContainerBesideAnArrayOfFirmwareRaidIsNoUse) {
  addArray("md126", "9:126", "raid1", "nvme0n1");
  write("sys/class/block/md126/md/metadata_version", "external:/md127/0\n");
  addBlock("md127", "9:127");
  write("sys/class/block/md127/md/metadata_version", "external:imsm\n");
  stack("nvme0n1", "md127");
  EXPECT_THAT(
      uses(),
      ElementsAre("nvme0n1 through md126: an array that is not in use; md126 has another healthy leg"));
}

TEST_F(DriveUseTest, HoldersThatGoRoundInCirclesComeToAnEnd) {
  addBlock("dm-0", "253:0");
  stack("nvme0n1", "dm-0");
  stack("dm-0", "dm-0");
  EXPECT_EQ(uses().size(), 1U);
}

TEST_F(DriveUseTest, TablesOfAnyContentAreRead) {
  mount(
      "\n20\n20 1 259:0\n20 1 259:0 / /x rw\n20 1 259:0 / /x rw -\n20 1 259:0 / /x rw - ext4\n"
      "20 1 259:0 / /y\\04\\999\\ rw - ext4 none rw\n");
  swap("\nnvme0n1\n");
  EXPECT_THAT(uses(), ElementsAre("nvme0n1: mounted on /y\\04\\999\\"));
}

}  // namespace

}  // namespace nvme_linux
