#include "DriveFacts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>

#include "ScriptedHost.h"
#include "TestSupport.h"

namespace tool {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class DriveFactsTest : public ::testing::Test {
 protected:
  DriveFactsTest() {
    m_host.addController("nvme0", "0000:04:00.0", "144d:0a80:1028:0000");
    m_host.writeAttribute("nvme0", "serial", "SN-0001   ");
    m_host.writeAttribute("nvme0", "model", "Model A  ");
    m_host.writeAttribute("nvme0", "firmware_rev", "STALE   ");
    m_host.writeSystemFile("sys/class/nvme/nvme0/nvme0n1/nsid", "1\n");
    m_host.writeSystemFile("sys/class/block/nvme0n1/dev", "259:0\n");
  }

  void package(const std::string& attributes) const {
    writeFile(m_package / "package.xml",
              "<SoftwareComponent><SupportedDevices><Device><PCIInfo vendorID='144D' deviceID='0a80' "
              "subVendorID='1028' subDeviceID='0000' " +
                  attributes + "/></Device></SupportedDevices></SoftwareComponent>");
  }

  DriveFacts onlyDrive(const std::filesystem::path& package = {}) {
    const DriveList list = readDriveFacts(m_host, package);
    EXPECT_EQ(list.drives.size(), 1U);
    EXPECT_THAT(list.problems, IsEmpty());
    return list.drives.at(0);
  }

  nvme_linux::ScriptedHost m_host;
  ScratchFolder m_package;
};

TEST_F(DriveFactsTest, ADriveThatAnswersTellsEverything) {
  m_host.drive("nvme0")
      .opens()
      .identifies({.revision = "NOW     "})
      .readsSlots({.activeInfo = 0x21, .revisions = {"NOW     ", "NEXT    "}})
      .readsHealth(0);
  const DriveFacts drive = onlyDrive();
  EXPECT_EQ(drive.controller, "nvme0");
  EXPECT_EQ(drive.address, "0000:04:00.0");
  EXPECT_EQ(drive.pci, (PciIds{"144d", "a80", "1028", "0"})) << "as result documents have them";
  EXPECT_EQ(drive.serial, "SN-0001");
  EXPECT_EQ(drive.model, "Model A");
  EXPECT_EQ(drive.revision, "NOW");
  EXPECT_THAT(drive.slots->revisions, ElementsAre("NOW", "NEXT", "")) << "the drive has three";
  EXPECT_EQ(drive.slots->running, 1U);
  EXPECT_EQ(drive.slots->next, 2U);
  EXPECT_EQ(drive.slots->stagedRevision(), "NEXT");
  EXPECT_EQ(drive.criticalWarning, 0U);
  EXPECT_THAT(drive.warnings(), IsEmpty());
  EXPECT_THAT(drive.uses, IsEmpty());
  EXPECT_EQ(drive.isRedundant(), true) << "nothing depends on it";
  EXPECT_EQ(drive.isInPackage, std::nullopt) << "no package was asked about";
}

TEST_F(DriveFactsTest, FirmwareMayBeStagedInTheOneSlotThatRuns) {
  for (const auto& [revision, staged] : {std::pair{"NEXT    ", "NEXT"}, std::pair{"NOW     ", ""}}) {
    m_host.drive("nvme0")
        .opens()
        .identifies({.revision = "NOW     ", .firmwareUpdates = 1 << 1})
        .readsSlots({.activeInfo = 0x11, .revisions = {revision}})
        .readsHealth(0);
    const DriveFacts drive = onlyDrive();
    EXPECT_EQ(drive.slots->stagedRevision(), staged);
    EXPECT_EQ(drive.slots->isStaged(), *staged != '\0');
  }
}

TEST_F(DriveFactsTest, WithoutRootOnlyWhatTheKernelTellsIsKnown) {
  m_host.drive("nvme0").opens(-EACCES);
  m_host.hold("nvme0n1", EACCES);
  const DriveFacts drive = onlyDrive();
  EXPECT_EQ(drive.revision, "STALE");
  EXPECT_FALSE(drive.slots || drive.criticalWarning);
  EXPECT_FALSE(drive.areUsesComplete);
  EXPECT_EQ(drive.isRedundant(), std::nullopt);
}

TEST_F(DriveFactsTest, OneUseWithoutAnotherLegSettlesThatItIsNotRedundant) {
  m_host.writeSystemFile("proc/self/mountinfo", "20 1 259:0 / /data rw - ext4 /dev/nvme0n1 rw\n");
  m_host.writeSystemFile("sys/class/nvme/nvme0/nvme0n2/nsid", "2\n");
  m_host.hold("nvme0n2", EACCES);
  m_host.drive("nvme0").opens(-EACCES);
  const DriveFacts drive = onlyDrive();
  ASSERT_EQ(drive.uses.size(), 1U);
  EXPECT_EQ(drive.uses[0].place, "/data");
  EXPECT_FALSE(drive.areUsesComplete);
  EXPECT_EQ(drive.isRedundant(), false);
}

TEST_F(DriveFactsTest, EachBitOfTheCriticalWarningHasAText) {
  m_host.drive("nvme0").opens().identifies().readsSlots().readsHealth(0x4A);
  const DriveFacts drive = onlyDrive();
  EXPECT_EQ(drive.criticalWarning, 0x4AU);
  EXPECT_THAT(drive.warnings(),
              ElementsAre("temperature outside its thresholds", "media read-only", "a reserved bit is set"));
}

TEST_F(DriveFactsTest, ADriveThatDoesNotSayHowManySlotsItHasShowsTheFilledOnes) {
  m_host.drive("nvme0")
      .opens()
      .identifies({.firmwareUpdates = 0})
      .readsSlots({.activeInfo = 0x01, .revisions = {"OLD_REV ", "        ", "SPARE   "}})
      .readsHealth(0);
  const DriveFacts drive = onlyDrive();
  EXPECT_THAT(drive.slots->revisions, ElementsAre("OLD_REV", "", "SPARE"));
  EXPECT_FALSE(drive.slots->isStaged());
  EXPECT_EQ(drive.slots->stagedRevision(), "");
}

TEST_F(DriveFactsTest, APackageThatNamesTheDriveMayAllowUpdatesFromAnotherRevisionOnly) {
  package("fromRevision='OTHER'");
  m_host.drive("nvme0").opens().identifies().readsSlots().readsHealth(0);
  const DriveFacts drive = onlyDrive(m_package.path());
  EXPECT_EQ(drive.isInPackage, true);
  EXPECT_EQ(drive.isUpdateAllowed, false);
}

TEST_F(DriveFactsTest, APackageMayNameOtherModelsOnly) {
  package("model='Model B'");
  m_host.drive("nvme0").opens().identifies().readsSlots().readsHealth(0);
  const DriveFacts drive = onlyDrive(m_package.path());
  EXPECT_EQ(drive.isInPackage, false);
  EXPECT_EQ(drive.isUpdateAllowed, false);
}

TEST_F(DriveFactsTest, APackageWithoutDrivesIsAProblem) {
  m_host.drive("nvme0").opens().identifies().readsSlots().readsHealth(0);
  const DriveList list = readDriveFacts(m_host, m_package.path());
  EXPECT_THAT(list.problems,
              ElementsAre((m_package / "package.xml").string() + ": names no drive, or cannot be read"));
  EXPECT_EQ(list.drives.at(0).isInPackage, false);
}

}  // namespace

}  // namespace tool
