#include "Alignment.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using tool::align;
using tool::Counterpart;
using tool::DriveIdentities;
using tool::DriveIdentity;
using tool::IdentifiedBy;

/// "A B ? -": drives A and B, a record without identity, a drive without a serial number. Two drives with the
/// same letter share their serial number; "B2" is drive B's serial number on another model.
DriveIdentities list(const std::string& words) {
  DriveIdentities drives;
  std::istringstream stream(words);
  for (std::string word; stream >> word;) {
    if (word == "?") {
      drives.emplace_back();
    } else {
      const std::string model = word.size() > 1 ? word.substr(1) : "1";
      drives.push_back(DriveIdentity{word[0] == '-' ? "" : word.substr(0, 1), {"f101", model, "f1a0", "1"}});
    }
  }
  return drives;
}

/// One word for each record of `from`: "2s" for the record at index 2, told by serial number, "2o" by order,
/// "none" for an absent and "open" for an ambiguous one.
std::string aligned(const std::string& from, const std::string& to) {
  std::string words;
  for (const Counterpart& one : align(list(from), list(to))) {
    if (!words.empty()) words += ' ';
    switch (one.kind) {
      case Counterpart::Kind::kAbsent:
        words += "none";
        break;
      case Counterpart::Kind::kAmbiguous:
        words += "open";
        break;
      case Counterpart::Kind::kFound:
        words += std::to_string(one.index) + (one.how == IdentifiedBy::kSerial ? "s" : "o");
    }
  }
  return words;
}

TEST(Alignment, FindsDrivesBySerialNumber) {
  EXPECT_EQ(aligned("A B C", "A B C"), "0s 1s 2s");
  EXPECT_EQ(aligned("A B C", "C A B"), "1s 2s 0s");
}

TEST(Alignment, TellsAFailedRecordByItsPlace) {
  EXPECT_EQ(aligned("A B C", "A ? C"), "0s 1o 2s");
  EXPECT_EQ(aligned("A ? C", "A B C"), "0s 1o 2s");
  EXPECT_EQ(aligned("A B C", "? ? ?"), "0o 1o 2o");
}

TEST(Alignment, NeverGuessesWhichOfTwoFailed) {
  EXPECT_EQ(aligned("A B C D", "A ? D"), "0s open open 2s");
  EXPECT_EQ(aligned("A B", "?"), "open open");
}

TEST(Alignment, TellsAbsentDrives) {
  EXPECT_EQ(aligned("A B C", "A C"), "0s none 1s");
  EXPECT_EQ(aligned("A B", ""), "none none");
  EXPECT_EQ(aligned("A B", "A X"), "0s none");
}

TEST(Alignment, TakesTheSameSerialNumberOnAnotherModelForAnotherDrive) {
  EXPECT_EQ(aligned("A B", "A B2"), "0s none");
  EXPECT_EQ(aligned("B B2", "B2 B"), "1s 0s");
}

TEST(Alignment, TellsDrivesOfOneSerialNumberByOrderWhileNoneIsMissing) {
  EXPECT_EQ(aligned("A A B", "A A B"), "0o 1o 2s");
  EXPECT_EQ(aligned("A A B", "A B"), "open open 1s");
  EXPECT_EQ(aligned("- - A", "- - A"), "0o 1o 2s");
  EXPECT_EQ(aligned("- - A", "- A"), "open open 1s");
}

TEST(Alignment, TrustsNoOrderThatHasChanged) {
  EXPECT_EQ(aligned("A B - -", "B A - -"), "1s 0s open open");
  EXPECT_EQ(aligned("A B C", "B A ?"), "1s 0s 2o");
  EXPECT_EQ(aligned("A B C D", "B A ? ?"), "1s 0s open open");
}

TEST(Alignment, TellsWhoCannotBeAnyOfTheRest) {
  EXPECT_EQ(aligned("A B - -2", "B A -"), "1s 0s open none");
  EXPECT_EQ(aligned("? A", "A"), "none 0s");
  EXPECT_EQ(aligned("? ?", "A"), "open open");
}

TEST(Alignment, KeepsTheOrderBetweenTwoCertainPairs) {
  EXPECT_EQ(aligned("A B C D E", "A ? C ? E"), "0s 1o 2s 3o 4s");
  EXPECT_EQ(aligned("A B C D", "A ? C D X"), "0s 1o 2s 3s");
}

}  // namespace
