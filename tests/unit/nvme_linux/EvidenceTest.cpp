#include "Evidence.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace nvme_linux {

namespace {

/// Revisions are of one letter: "A-C" are three slots with the second one empty.
FirmwareState state(char runs, unsigned int running, unsigned int next, const std::string& slots) {
  FirmwareState state;
  state.identity.revision.fill(' ');
  state.identity.revision[0] = runs;
  state.slots.running = running;
  state.slots.next = next;
  for (std::size_t i = 0; i < slots.size(); ++i) {
    if (slots[i] == '-') continue;
    state.slots.revisions.at(i).fill(' ');
    state.slots.revisions.at(i)[0] = slots[i];
  }
  return state;
}

struct Case {
  const char* name;
  unsigned int slot;
  FirmwareState before;
  FirmwareState after;
  Evidence committed;
  Evidence lost;
};

TEST(EvidenceTest, IsWhatSlotLogAndRevisionShow) {
  using enum Evidence;
  const Case cases[] = {
      {"staged in an empty slot", 2, state('A', 1, 0, "A-"), state('A', 1, 2, "AB"), kWaits, kWaits},
      {"activated at once", 2, state('A', 1, 0, "A-"), state('B', 2, 0, "AB"), kRuns, kRuns},
      {"activating", 2, state('A', 1, 0, "A-"), state('A', 2, 0, "AB"), kRuns, kRuns},
      {"stored, the next slot not told", 2, state('A', 1, 0, "AC"), state('A', 1, 0, "AB"), kWaits, kWaits},
      {"the next slot told, the revision not", 2, state('A', 1, 1, "A-"), state('A', 1, 2, "A-"), kWaits,
       kWaits},
      {"same image in another slot", 2, state('A', 1, 0, "AA"), state('A', 1, 2, "AA"), kWaits, kWaits},
      {"same image activated in another slot", 2, state('A', 1, 0, "AA"), state('A', 2, 0, "AA"), kRuns,
       kRuns},
      {"nothing", 2, state('A', 1, 0, "A-"), state('A', 1, 0, "A-"), kNone, kNone},
      {"nothing, with other firmware in the slot", 2, state('A', 1, 1, "AC"), state('A', 1, 1, "AC"), kNone,
       kNone},
      {"another slot is next", 2, state('A', 1, 0, "A-C"), state('A', 1, 3, "A-C"), kNone, kNone},
      {"staged again, other image", 2, state('A', 1, 2, "AB"), state('A', 1, 2, "AC"), kWaits, kWaits},
      {"staged again, perhaps the same image", 2, state('A', 1, 2, "AB"), state('A', 1, 2, "AB"), kWaits,
       kNone},
      {"what was staged runs after a reset", 2, state('A', 1, 2, "AB"), state('B', 2, 0, "AB"), kRuns, kNone},
      {"what is new was staged over and runs", 2, state('A', 1, 2, "AB"), state('C', 2, 0, "AC"), kRuns,
       kRuns},
      {"one slot, staged", 1, state('A', 1, 0, "A"), state('A', 1, 1, "B"), kWaits, kWaits},
      {"one slot, staged, next not told", 1, state('A', 1, 0, "A"), state('A', 1, 0, "B"), kWaits, kWaits},
      {"one slot, active at once", 1, state('A', 1, 0, "A"), state('B', 1, 0, "B"), kRuns, kRuns},
      {"one slot, same image", 1, state('A', 1, 1, "A"), state('A', 1, 1, "A"), kSame, kNone},
      {"one slot, staged again", 1, state('A', 1, 0, "B"), state('A', 1, 0, "B"), kWaits, kNone},
      {"one slot, what was staged runs", 1, state('A', 1, 0, "B"), state('B', 1, 0, "B"), kRuns, kNone},
      {"the drive's choice, staged", 0, state('A', 0, 0, "A-"), state('A', 0, 2, "AB"), kWaits, kWaits},
      {"the drive's choice, runs", 0, state('A', 0, 0, ""), state('B', 0, 0, ""), kRuns, kRuns},
      {"the drive's choice, nothing", 0, state('A', 0, 0, ""), state('A', 0, 0, ""), kSame, kNone},
      {"the drive's choice, nothing, though the slot is told", 0, state('A', 1, 0, "A-"),
       state('A', 1, 0, "A-"), kSame, kNone},
      {"nothing in the first slot while the second runs", 1, state('A', 2, 0, "CA"), state('A', 2, 0, "CA"),
       kNone, kNone},
      {"the drive's choice, as staged before", 0, state('A', 0, 2, "AB"), state('A', 0, 2, "AB"), kWaits,
       kNone},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(evidenceOf(c.slot, c.before, c.after), c.committed) << c.name;
    EXPECT_EQ(evidenceOfLost(c.slot, c.before, c.after), c.lost) << c.name << ", lost";
  }
}

}  // namespace

}  // namespace nvme_linux
