#include "DriveMatch.h"

#include <gtest/gtest.h>

#include "PlanSamples.h"

namespace tool {

namespace {

/// The controllers that the records are matched with: "nvme1 - ?" for one, for none and for an ambiguous one.
std::string matched(const std::vector<Record>& records, const std::vector<DriveFacts>& kernel) {
  std::string text;
  for (const DriveMatch& match : matchDrives(records, kernel)) {
    if (!text.empty()) text += ' ';
    text += match.facts != nullptr ? match.facts->controller : match.isAmbiguous ? "?" : "-";
  }
  return text;
}

TEST(DriveMatch, DrivesAreFoundBySerialNumberWhateverTheirOrder) {
  EXPECT_EQ(matched({listed("A"), listed("B"), listed("C")}, {known("B", 1), known("A", 2)}),
            "nvme2 nvme1 -");
}

TEST(DriveMatch, ASerialNumberOfAnotherModelIsAnotherDrive) {
  EXPECT_EQ(matched({listed("A")}, {known("A", 1, kModelB)}), "-");
}

TEST(DriveMatch, DrivesThatShareASerialNumberAreTakenInOrder) {
  EXPECT_EQ(matched({listed("A"), listed("X"), listed("A")}, {known("A", 1), known("X", 2), known("A", 3)}),
            "nvme1 nvme2 nvme3");
}

TEST(DriveMatch, TheOrderIsThatOfBusDeviceAndFunction) {
  DriveFacts elsewhere = known("A", 1);
  elsewhere.address = "10000:01:00.0";
  EXPECT_EQ(matched({listed("A"), listed("A")}, {known("A", 2), elsewhere}), "nvme1 nvme2");
}

TEST(DriveMatch, DrivesWithoutASerialNumberAreTakenInOrderToo) {
  EXPECT_EQ(matched({listed(""), listed("", "OLD", kModelB)}, {known("", 1, kModelB), known("", 2)}),
            "nvme2 nvme1");
}

TEST(DriveMatch, WithAnotherNumberOfThemNobodyCanTell) {
  EXPECT_EQ(matched({listed("A"), listed("A")}, {known("A", 1)}), "? ?");
  EXPECT_EQ(matched({listed("A")}, {known("A", 1), known("A", 2)}), "?");
}

TEST(DriveMatch, OneOfSeveralPortsStandsForTheDrive) {
  DriveFacts first = known("A", 1);
  DriveFacts second = known("A", 2);
  first.siblings = {"nvme2"};
  second.siblings = {"nvme1"};
  EXPECT_EQ(matched({listed("A")}, {first, second}), "nvme1");
}

TEST(DriveMatch, AFailedRecordIsNoDrive) {
  EXPECT_EQ(matched({Record{.outcome = Outcome::kFailed, .message = "ERROR"}}, {known("", 1)}), "-");
}

TEST(DriveMatch, ADriveWithoutIdsIsNotFound) {
  DriveFacts drive = known("A", 1);
  drive.pci.reset();
  EXPECT_EQ(matched({listed("A")}, {drive}), "-");
}

}  // namespace

}  // namespace tool
