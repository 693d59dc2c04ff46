#include "DriveText.h"

#include <algorithm>
#include <ostream>

#include "Joined.h"
#include "TerminalText.h"

namespace tool {

namespace {

DriveVerdict describe(const DriveFacts& facts) {
  DriveVerdict drive{.serial = unlessEmpty(facts.serial),
                     .model = unlessEmpty(facts.model),
                     .pci = facts.pci,
                     .address = unlessEmpty(facts.address),
                     .before = unlessEmpty(facts.revision),
                     .state = Outcome::kListed};
  const bool isStaged = facts.slots && facts.slots->isStaged();
  if (isStaged) drive.staged = unlessEmpty(facts.slots->stagedRevision());
  if (std::string ailment = facts.ailment(); !ailment.empty()) {
    drive.state = Outcome::kUnhealthy;
    drive.reason = std::move(ailment);
  } else if (isStaged) {
    drive.state = Outcome::kStaged;
    drive.reason = kStagedReason;
  }
  return drive;
}

bool isSilent(const DriveFacts& facts) {
  return !facts.slots || !facts.criticalWarning || !facts.areUsesComplete;
}

/// "slot 1 OLD (runs), slot 2 NEW (runs after a reset), slot 3 empty".
std::string slotsText(const DriveSlots& slots) {
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < slots.revisions.size(); ++i) {
    std::string text =
        "slot " + std::to_string(i + 1) + " " + (slots.revisions[i].empty() ? "empty" : slots.revisions[i]);
    if (i + 1 == slots.running && !slots.isRunningSlotStaged) text += " (runs)";
    if (slots.isStaged() && i + 1 == slots.next) text += " (runs after a reset)";
    texts.push_back(std::move(text));
  }
  return texts.empty() ? "no slot is known" : joined(texts);
}

std::string healthText(const DriveFacts& facts) {
  if (!facts.criticalWarning) return "not known";
  return *facts.criticalWarning == 0 ? "no critical warning"
                                     : "critical warning: " + joined(facts.warnings());
}

void writeUses(std::ostream& out, const DriveFacts& facts) {
  for (const nvme_linux::DriveUse& use : facts.uses) out << "  use      " << forTerminal(use.text()) << '\n';
  if (!facts.areUsesComplete) {
    out << "  use      " << (facts.uses.empty() ? "not known" : "and what is not known") << '\n';
  } else if (facts.uses.empty()) {
    out << "  use      nothing\n";
  }
}

void writeDrive(std::ostream& out, const DriveFacts& facts) {
  const auto shown = [](const std::string& text) { return text.empty() ? "-" : forTerminal(text); };
  out << shown(facts.address) << "  /dev/" << facts.controller;
  for (const std::string& sibling : facts.siblings) out << ", port of one drive with " << sibling;
  out << '\n';
  out << "  drive    " << shown(facts.model) << ", serial number " << shown(facts.serial) << '\n';
  out << "  runs     " << shown(facts.revision) << '\n';
  out << "  slots    " << (facts.slots ? forTerminal(slotsText(*facts.slots)) : "not known") << '\n';
  if (facts.slots && facts.slots->isUpdateInProgress) out << "  update   in progress\n";
  out << "  health   " << healthText(facts) << '\n';
  writeUses(out, facts);
  if (facts.isInPackage)
    out << "  package  " << (*facts.isInPackage ? "names it" : "does not name it") << '\n';
}

}  // namespace

Verdict describe(const DriveList& list, bool isRoot) {
  Verdict verdict{.outcome = RunOutcome::kDone, .reasons = list.problems};
  for (const DriveFacts& facts : list.drives) verdict.drives.push_back(describe(facts));
  const auto silent =
      static_cast<std::size_t>(std::count_if(list.drives.begin(), list.drives.end(), isSilent));
  if (silent > 0) {
    verdict.reasons.push_back(std::to_string(silent) + " of " + std::to_string(list.drives.size()) +
                              (isRoot ? " drives do not answer: their slots, health or use are not known"
                                      : " drives are not fully known: slots, health and use need root"));
  }
  if (list.drives.empty()) verdict.reasons.emplace_back("the kernel knows no NVMe PCIe drive");
  return verdict;
}

void writeDrives(std::ostream& out, const DriveList& list, const Verdict& verdict) {
  for (const DriveFacts& facts : list.drives) writeDrive(out, facts);
  for (const std::string& reason : verdict.reasons) out << "note: " << forTerminal(reason) << '\n';
}

}  // namespace tool
