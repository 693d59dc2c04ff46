#include <vector>

#include "DriveFacts.h"
#include "DriveMatch.h"
#include "Judgement.h"

namespace tool {

void askSlots(Verdict& verdict) {
  std::vector<Record> records;
  for (const DriveVerdict& drive : verdict.drives)
    records.push_back({.pci = drive.pci.value_or(PciIds{}), .enumId = drive.serial.value_or("")});
  const auto kernel = readDriveFacts();
  const std::vector<DriveMatch> matches = matchDrives(records, kernel.drives);
  for (std::size_t i = 0; i < matches.size(); ++i) {
    DriveVerdict& drive = verdict.drives[i];
    const DriveFacts* const facts = matches[i].facts;
    if (drive.state != Outcome::kUnchanged || facts == nullptr || !facts->slots || !facts->slots->isStaged())
      continue;
    drive.state = Outcome::kStaged;
    drive.staged = facts->slots->stagedRevision();
    drive.reason = "it has taken the firmware and runs it after a reset: restart the server";
  }
  conclude(verdict);
}

}  // namespace tool
