#include <optional>
#include <vector>

#include "DriveFacts.h"
#include "DriveMatch.h"
#include "Judgement.h"

namespace tool {

namespace {

/// The slots of each drive; nothing where they are not known.
std::vector<std::optional<DriveSlots>> slotsOf(const Verdict& verdict) {
  std::vector<Record> records;
  for (const DriveVerdict& drive : verdict.drives)
    records.push_back({.pci = drive.pci.value_or(PciIds{}), .enumId = drive.serial.value_or("")});
  const auto kernel = readDriveFacts();
  std::vector<std::optional<DriveSlots>> slots;
  for (const DriveMatch& match : matchDrives(records, kernel.drives))
    slots.push_back(match.facts == nullptr ? std::nullopt : match.facts->slots);
  return slots;
}

}  // namespace

std::vector<std::optional<bool>> waitingInSlots(const Verdict& verdict) {
  std::vector<std::optional<bool>> waiting;
  for (const auto& slots : slotsOf(verdict))
    waiting.push_back(slots ? std::optional(slots->isStaged()) : std::nullopt);
  return waiting;
}

void askSlots(Verdict& verdict) {
  const std::vector<std::optional<DriveSlots>> slots = slotsOf(verdict);
  for (std::size_t i = 0; i < slots.size(); ++i) {
    DriveVerdict& drive = verdict.drives[i];
    if (drive.state != Outcome::kUnchanged || !slots[i] || !slots[i]->isStaged()) continue;
    drive.state = Outcome::kStaged;
    drive.staged = slots[i]->stagedRevision();
    drive.reason = "it has taken the firmware and runs it after a reset: restart the server";
  }
  conclude(verdict);
}

}  // namespace tool
