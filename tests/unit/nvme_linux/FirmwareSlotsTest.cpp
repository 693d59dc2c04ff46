#include "FirmwareSlots.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace nvme_linux {

namespace {

TEST(ChooseSlotTest, IsNeitherReadOnlyNorRunningIfThatCanBe) {
  const std::string full = "REVISION";
  const std::string none(8, '\0');
  const std::string blank(8, ' ');
  const std::string shifted("\0\0\0\0OLD_", 8);
  struct {
    const char* name;
    unsigned int slots;
    bool firstReadOnly;
    unsigned int running;
    std::vector<std::string> revisions;
    std::optional<unsigned int> chosen;
    unsigned int next = 0;
  } const cases[] = {
      {"one slot only", 1, false, 1, {full}, 1},
      {"one slot only, read-only", 1, true, 1, {full}, std::nullopt},
      {"two slots, second empty", 2, false, 1, {full, none}, 2},
      {"two slots, first empty", 2, false, 2, {none, full}, 1},
      {"two slots, both full", 2, false, 2, {full, full}, 1},
      {"first read-only, the second runs", 2, true, 2, {full, full}, 2},
      {"first read-only, the first runs", 2, true, 1, {full, full}, 2},
      {"first read-only and empty", 3, true, 3, {none, full, full}, 2},
      {"empty one before a full one", 4, false, 1, {full, full, full, none}, 4},
      {"empty by blanks", 3, false, 1, {full, full, blank}, 3},
      {"all full", 3, false, 2, {full, full, full}, 3},
      {"all full, the last runs", 3, false, 3, {full, full, full}, 1},
      {"all full, the last runs, first read-only", 3, true, 3, {full, full, full}, 2},
      {"seven slots", 7, true, 7, {full, full, full, full, full, none, full}, 6},
      {"the running slot has no revision", 2, false, 1, {none, full}, 2},
      {"the running slot is not told", 3, true, 0, {full, none, none}, 0},
      {"the number of slots is not told", 0, true, 1, {full}, 0},
      {"the staged one before an empty one", 3, false, 1, {full, full, none}, 2, 2},
      {"the staged one before the next one", 3, false, 1, {full, full, full}, 3, 3},
      {"the running one is next, and holds what runs", 3, false, 1, {full, full, none}, 3, 1},
      {"the running one was written since", 3, false, 1, {"WRITTEN ", full, full}, 1, 1},
      {"the running one was written since, read-only", 3, true, 1, {"WRITTEN ", full, full}, 2, 1},
      {"the running one is next and empty", 3, false, 1, {none, full, full}, 2, 1},
      {"the running one is next, what it holds is not known", 3, false, 1, {shifted, full, full}, 2, 1},
      {"a read-only one is staged", 3, true, 2, {full, full, full}, 3, 1},
      {"a slot is staged that the drive does not have", 2, false, 1, {full, full}, 2, 5},
      {"one is staged, the running slot is not told", 3, false, 0, {full, full, none}, 0, 2},
      {"a running slot that the drive does not have", 2, true, 5, {full, full}, 2},
  };
  for (const auto& c : cases) {
    Identity identity{};
    std::copy_n(full.begin(), 8, identity.revision.begin());
    identity.slots = c.slots;
    identity.isFirstSlotReadOnly = c.firstReadOnly;
    FirmwareSlots slots{};
    slots.running = c.running;
    slots.next = c.next;
    for (std::size_t i = 0; i < c.revisions.size(); ++i) {
      std::copy_n(c.revisions[i].begin(), 8, slots.revisions.at(i).begin());
    }
    EXPECT_EQ(chooseSlot(identity, slots), c.chosen) << c.name;
  }
}

TEST(FirmwareSlotsTest, NothingIsStagedInTheRunningSlotWhileItsRevisionIsNotKnown) {
  FirmwareSlots slots{};
  slots.running = slots.next = 1;
  slots.revisions[0].fill('X');
  EXPECT_EQ(slots.staged(""), 0U);
  EXPECT_EQ(slots.staged("XXXXXXXX"), 0U);
  EXPECT_EQ(slots.staged("OLD"), 1U);
}

}  // namespace

}  // namespace nvme_linux
