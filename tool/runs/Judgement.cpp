#include "Judgement.h"

#include <string>
#include <utility>

#include "Alignment.h"
#include "Verification.h"

namespace tool {

namespace {

std::optional<DriveIdentity> identityOf(const DriveVerdict& drive) {
  if (!drive.serial && !drive.pci) return std::nullopt;
  return DriveIdentity{drive.serial.value_or(""), drive.pci.value_or(PciIds{})};
}

std::optional<DriveIdentity> identityOf(const Record& record) {
  if (record.outcome == Outcome::kFailed) return std::nullopt;
  return DriveIdentity{std::string(record.serialNumber()), record.pci};
}

template <class Drive>
std::vector<std::optional<DriveIdentity>> identitiesOf(const std::vector<Drive>& drives) {
  std::vector<std::optional<DriveIdentity>> identities;
  identities.reserve(drives.size());
  for (const Drive& drive : drives) identities.push_back(identityOf(drive));
  return identities;
}

/// What drives run by an inventory.
class Revisions {
 public:
  Revisions(const std::vector<DriveVerdict>& drives, const Document& inventory)
      : m_places(align(identitiesOf(drives), identitiesOf(inventory.records))), m_inventory(inventory) {}

  bool isAbsent(std::size_t drive) const { return m_places[drive].kind == Counterpart::Kind::kAbsent; }

  /// Nothing for a drive that is not there, cannot be told from others, or does not say.
  std::optional<std::string> of(std::size_t drive) const {
    if (m_places[drive].kind != Counterpart::Kind::kFound) return std::nullopt;
    const std::string_view revision = m_inventory.records[m_places[drive].index].latestRevision();
    return revision.empty() ? std::nullopt : std::optional<std::string>(revision);
  }

 private:
  std::vector<Counterpart> m_places;
  const Document& m_inventory;
};

/// The one revision that all flashed drives are to run; nothing where some have none, or another one.
std::optional<std::string> commonlyWanted(const std::vector<DriveVerdict>& planned) {
  std::optional<std::string> wanted;
  for (const DriveVerdict& drive : planned) {
    if (drive.state != Outcome::kFlash) continue;
    if (!drive.wanted || (wanted && wanted != drive.wanted)) return std::nullopt;
    wanted = drive.wanted;
  }
  return wanted;
}

void set(DriveVerdict& drive, Outcome state, std::string reason) {
  drive.state = state;
  drive.reason = std::move(reason);
}

/// A drive that was judged without its wanted revision is held against that one.
void holdAgainst(const std::optional<std::string>& wanted, DriveVerdict& drive) {
  if (drive.wanted || !wanted) return;
  drive.wanted = wanted;
  if (drive.state == Outcome::kUnchanged && drive.after == wanted) {
    set(drive, Outcome::kCurrent, "");
  } else if (drive.state == Outcome::kUpdated && drive.after != wanted) {
    set(drive, Outcome::kUndecided, "it runs another revision than before, but not the wanted one");
  }
}

/// Takes what was found out of a drive into its place of the plan.
DriveVerdict merged(DriveVerdict judged, const DriveVerdict& planned) {
  const bool wasDone = planned.state == Outcome::kCurrent || planned.state == Outcome::kStaged;
  if (wasDone && judged.state == Outcome::kUnchanged) {
    // It was flashed again beside the others, which changed nothing.
    set(judged, planned.state, planned.reason);
    judged.staged = planned.staged;
  }
  holdAgainst(planned.wanted, judged);
  if (!judged.serial) judged.serial = planned.serial;
  if (!judged.name) judged.name = planned.name;
  if (!judged.model) judged.model = planned.model;
  if (!judged.pci) judged.pci = planned.pci;
  if (planned.address) judged.address = planned.address;
  if (!judged.before) judged.before = planned.before;
  return judged;
}

/// The inventory that a plan was made from, for when it is lost itself.
Document inventoryOf(const std::vector<DriveVerdict>& planned) {
  Document inventory;
  for (const DriveVerdict& drive : planned) {
    inventory.records.push_back({.outcome = identityOf(drive) ? Outcome::kListed : Outcome::kFailed,
                                 .pci = drive.pci.value_or(PciIds{}),
                                 .name = drive.name.value_or(""),
                                 .enumId = drive.serial.value_or(""),
                                 .revision = drive.before.value_or("")});
  }
  return inventory;
}

/// A new revision shows that a drive was flashed, even if nothing has kept how that ended.
void believeRevision(DriveVerdict& drive) {
  const bool isOpen = drive.state == Outcome::kUndecided || drive.state == Outcome::kUntouched;
  if (!isOpen || !drive.before || !drive.after || drive.before == drive.after) return;
  if (drive.wanted && drive.wanted != drive.after) return;
  set(drive, Outcome::kUpdated, "nothing tells how its flash ended, and it runs the new firmware");
}

class Judgement {
 public:
  Judgement(const Verdict& plan, RunEvidence evidence)
      : m_planned(plan.drives), m_evidence(std::move(evidence)) {
    for (const DriveVerdict& drive : m_planned) {
      if (wasOffered(drive)) m_offered.push_back(drive);
    }
    if (!m_evidence.before && !m_planned.empty()) m_evidence.before = inventoryOf(m_planned);
  }

  Verdict judge() {
    keepOffered();
    const auto pointer = [](const auto& thing) { return thing ? &*thing : nullptr; };
    Verdict verdict = verify({.before = pointer(m_evidence.before),
                              .update = pointer(m_evidence.update),
                              .after = pointer(m_evidence.after),
                              .log = pointer(m_evidence.log),
                              .wanted = commonlyWanted(m_planned)});
    verdict.drives = inPlanOrder(std::move(verdict.drives));
    if (m_evidence.after) noteRevisions(verdict.drives, *m_evidence.after);
    for (DriveVerdict& drive : verdict.drives) believeRevision(drive);
    conclude(verdict);
    return verdict;
  }

 private:
  bool wasOffered(const DriveVerdict& planned) const {
    return !m_evidence.isNarrowed || planned.state == Outcome::kFlash;
  }

  /// Leaves in the inventory before what the component was given. The plan has a drive for each record.
  void keepOffered() {
    if (!m_evidence.before || m_evidence.before->records.size() != m_planned.size()) return;
    std::vector<Record> kept;
    for (std::size_t i = 0; i < m_planned.size(); ++i) {
      if (wasOffered(m_planned[i])) kept.push_back(std::move(m_evidence.before->records[i]));
    }
    m_evidence.before->records = std::move(kept);
  }

  /// Drives that the plan does not have come last.
  std::vector<DriveVerdict> inPlanOrder(std::vector<DriveVerdict> judged) const {
    const std::vector<Counterpart> places = align(identitiesOf(m_offered), identitiesOf(judged));
    std::vector<bool> isTaken(judged.size());
    std::vector<DriveVerdict> drives;
    std::size_t next = 0;  // in m_offered
    for (const DriveVerdict& planned : m_planned) {
      if (!wasOffered(planned)) {
        drives.push_back(planned);
        continue;
      }
      const Counterpart& place = places[next++];
      if (place.kind != Counterpart::Kind::kFound || isTaken[place.index]) continue;
      isTaken[place.index] = true;
      drives.push_back(merged(std::move(judged[place.index]), planned));
    }
    for (std::size_t i = 0; i < judged.size(); ++i) {
      if (!isTaken[i]) drives.push_back(std::move(judged[i]));
    }
    return drives;
  }

  static void noteRevisions(std::vector<DriveVerdict>& drives, const Document& after) {
    const Revisions now(drives, after);
    for (std::size_t i = 0; i < drives.size(); ++i) {
      if (!drives[i].after) drives[i].after = now.of(i);
    }
  }

  const std::vector<DriveVerdict>& m_planned;
  RunEvidence m_evidence;
  std::vector<DriveVerdict> m_offered;  // the drives of the plan that the component was given
};

/// A drive that is there after a reset, and runs `runs`.
void judgeRevision(DriveVerdict& drive, const std::string& runs) {
  const std::optional<std::string> expected = drive.wanted ? drive.wanted : drive.staged;
  const bool isNew = expected ? runs == expected : runs != drive.before;
  drive.after = runs;
  if (isNew) {
    set(drive, Outcome::kUpdated, "it runs the new firmware since the reset");
  } else if (runs != drive.before) {
    set(drive, Outcome::kUndecided, "it runs another revision since the reset, but not the expected one");
  } else if (drive.state == Outcome::kStaged) {
    set(drive, Outcome::kStale,
        "there was a reset since it took the firmware, and it still runs the old one: flash it again, or ask "
        "its maker");
  } else {
    drive.reason = "reported as success, but after a restart, too, it runs what it ran before";
  }
}

}  // namespace

Verdict judgeFlash(const Verdict& plan, RunEvidence evidence) {
  return Judgement(plan, std::move(evidence)).judge();
}

void judgeReset(Verdict& verdict, const Document& inventory, const std::vector<bool>& wasReset) {
  const Revisions now(verdict.drives, inventory);
  for (std::size_t i = 0; i < verdict.drives.size(); ++i) {
    DriveVerdict& drive = verdict.drives[i];
    if (!wasReset[i] || (drive.state != Outcome::kStaged && drive.state != Outcome::kUnchanged)) continue;
    const std::optional<std::string> runs = now.of(i);
    if (now.isAbsent(i)) {
      drive.after.reset();
      set(drive, Outcome::kMissing, "it is not there any more since the reset");
    } else if (runs) {
      judgeRevision(drive, *runs);
    } else {
      set(drive, Outcome::kUndecided, "nothing tells what it runs since the reset");
    }
    drive.staged.reset();
  }
  conclude(verdict);
}

}  // namespace tool
