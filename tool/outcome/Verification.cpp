#include "Verification.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <utility>
#include <vector>

#include "Alignment.h"
#include "Identity.h"
#include "LibraryCode.h"

namespace tool {

namespace {

// The component writes one of two messages for a failed drive; the other one is for a refused update.
constexpr std::string_view kRevisionUnreadable =
    "ERROR: Getting Firmware Version of required NVMePCISSD disk failed";

/// What the drive library answered, as far as anything tells.
enum class Flash { kDone, kRefused, kNone, kUnknown };

/// A drive of the update run, in the order of discovery.
struct Flashed {
  DriveVerdict drive{};
  std::optional<DriveIdentity> identity{};  ///< none for a record that nothing identifies
  Flash flash = Flash::kUnknown;
};

std::optional<PciIds> unlessNone(const PciIds& pci) {
  return pci == PciIds{} ? std::nullopt : std::optional(pci);
}

std::optional<DriveIdentity> identityOf(const Record& record) {
  if (record.outcome == Outcome::kFailed) return std::nullopt;
  return DriveIdentity{std::string(record.serialNumber()), record.pci};
}

DriveIdentities identitiesOf(const std::vector<Record>& records) {
  DriveIdentities drives;
  drives.reserve(records.size());
  for (const Record& record : records) drives.push_back(identityOf(record));
  return drives;
}

DriveIdentity identityOf(const LoggedDrive& drive) {
  return {drive.serial, {drive.vendor, drive.device, drive.subVendor, drive.subDevice}};
}

/// Sets what a document says of a drive. In an update document the revision is the one before the flash.
void describe(const Record& record, DriveVerdict& drive) {
  drive.serial = unlessEmpty(record.serialNumber());
  drive.name = unlessEmpty(record.name);
  drive.pci = unlessNone(record.pci);
  drive.before = unlessEmpty(record.latestRevision());
}

Flashed fromLog(const LoggedDrive& logged) {
  Flashed flashed{.identity = identityOf(logged)};
  DriveVerdict& drive = flashed.drive;
  drive.serial = unlessEmpty(logged.serial);
  drive.name = unlessEmpty(logged.name);
  drive.model = unlessEmpty(logged.model);
  drive.pci = unlessNone(flashed.identity->pci);
  drive.address = unlessEmpty(logged.address);
  if (logged.revision) drive.before = unlessEmpty(nvme_linux::trimmed(*logged.revision));
  drive.identifiedBy = IdentifiedBy::kLog;
  switch (logged.flash) {
    case LoggedFlash::kDone:
      flashed.flash = Flash::kDone;
      break;
    case LoggedFlash::kNone:
      flashed.flash = Flash::kNone;
      break;
    case LoggedFlash::kUnended:
      flashed.flash = Flash::kUnknown;
      break;
    case LoggedFlash::kRefused:
      flashed.flash = Flash::kRefused;
      drive.code = logged.code;
      break;
  }
  return flashed;
}

Flashed fromUpdate(const Record& record) {
  Flashed flashed{.identity = identityOf(record)};
  if (record.outcome != Outcome::kFailed) {
    describe(record, flashed.drive);
    flashed.drive.identifiedBy = flashed.drive.serial ? IdentifiedBy::kSerial : IdentifiedBy::kOrder;
    flashed.flash = Flash::kDone;
  } else if (record.message != kRevisionUnreadable) {
    flashed.flash = Flash::kRefused;
  }  // else it was flashed after its revision could not be read, and the record does not say how that went
  return flashed;
}

/// True when a record of the update document says what the log says of the drive in its place.
bool agree(const LoggedDrive& logged, const Record& record) {
  if (record.outcome == Outcome::kFailed) {
    return record.message == kRevisionUnreadable ? !logged.revision : logged.flash == LoggedFlash::kRefused;
  }
  return identityOf(record) == identityOf(logged) && logged.flash != LoggedFlash::kRefused &&
         logged.revision && nvme_linux::trimmed(*logged.revision) == record.latestRevision();
}

/// Why the log cannot be of the run that wrote the update document; empty when it can.
std::string mismatch(const LoggedRun& log, const Document& update) {
  if (log.drives.size() != update.records.size()) {
    return log.ended ? "the log is of another run: it has " + std::to_string(log.drives.size()) +
                           " drives, the update document " + std::to_string(update.records.size())
                     : std::string("the log ends before the run does");
  }
  for (std::size_t i = 0; i < log.drives.size(); ++i) {
    if (!agree(log.drives[i], update.records[i]))
      return "the log is of another run: drive " + std::to_string(i + 1) +
             " is another one there, or ended otherwise";
  }
  return {};
}

class Verification {
 public:
  explicit Verification(const UpdateEvidence& evidence) : m_evidence(evidence) {}

  Verdict run() {
    chooseLog();
    listFlashed();
    if (m_evidence.before != nullptr) compareWithBefore();
    if (m_evidence.after != nullptr) findAfter();
    for (std::size_t i = 0; i < m_flashed.size(); ++i) judge(i);
    for (Flashed& flashed : m_flashed) m_verdict.drives.push_back(std::move(flashed.drive));
    std::move(m_unlisted.begin(), m_unlisted.end(), std::back_inserter(m_verdict.drives));
    conclude(m_verdict);
    return std::move(m_verdict);
  }

 private:
  void chooseLog() {
    m_log = m_evidence.log;
    if (m_log == nullptr) return;
    if (m_evidence.update != nullptr) {
      if (const std::string reason = mismatch(*m_log, *m_evidence.update); !reason.empty()) {
        m_verdict.reasons.push_back(reason + "; it is left aside");
        m_log = nullptr;
        return;
      }
    }
    for (const LoggedTrouble& trouble : m_log->troubles)
      m_verdict.reasons.push_back(trouble.where + ": " + trouble.problem + "; " + trouble.remedy);
  }

  void listFlashed() {
    if (m_log != nullptr) {
      for (const LoggedDrive& drive : m_log->drives) m_flashed.push_back(fromLog(drive));
    } else if (m_evidence.update != nullptr) {
      for (const Record& record : m_evidence.update->records) m_flashed.push_back(fromUpdate(record));
    }
    m_complete = m_evidence.update != nullptr || (m_log != nullptr && m_log->flashingEnded);
  }

  DriveIdentities flashedIdentities() const {
    DriveIdentities drives;
    for (const Flashed& flashed : m_flashed) drives.push_back(flashed.identity);
    return drives;
  }

  /// Identifies failed records by the inventory before, and lists the drives that the update did not.
  void compareWithBefore() {
    const std::vector<Record>& before = m_evidence.before->records;
    const DriveIdentities known = identitiesOf(before);
    const std::vector<Counterpart> counterparts = align(known, flashedIdentities());
    m_beforeIsForeign = sharesNoDrive(counterparts, m_flashed.size());
    if (m_beforeIsForeign)
      m_verdict.reasons.emplace_back("the inventory before and the update are of different drives");
    bool isOlder = false;
    for (std::size_t i = 0; i < before.size(); ++i) {
      if (counterparts[i].kind == Counterpart::Kind::kFound) {
        Flashed& flashed = m_flashed[counterparts[i].index];
        isOlder |= identify(flashed, before[i], counterparts[i].how);
      } else {
        listUnflashed(before[i], counterparts[i].kind == Counterpart::Kind::kAbsent);
      }
    }
    if (isOlder)
      m_verdict.reasons.emplace_back(
          "the update read other revisions than the inventory before shows: it is not of right before the "
          "update");
  }

  /// Tells who a record without identity is. True when the update read another revision than `before` has.
  static bool identify(Flashed& flashed, const Record& before, IdentifiedBy how) {
    const std::optional<DriveIdentity> known = identityOf(before);
    if (!known) return false;
    if (flashed.identity) return flashed.drive.before && *flashed.drive.before != before.latestRevision();
    flashed.identity = known;
    describe(before, flashed.drive);
    flashed.drive.identifiedBy = how;
    return false;
  }

  /// True when none of the drives of one list can be in the other, which has some.
  static bool sharesNoDrive(const std::vector<Counterpart>& counterparts, std::size_t others) {
    return others > 0 && !counterparts.empty() &&
           std::all_of(counterparts.begin(), counterparts.end(),
                       [](const Counterpart& one) { return one.kind == Counterpart::Kind::kAbsent; });
  }

  /// A drive of the inventory before that is no certain record of the update.
  void listUnflashed(const Record& record, bool isAbsent) {
    DriveVerdict drive;
    if (record.outcome != Outcome::kFailed) describe(record, drive);
    drive.wanted = m_evidence.wanted;
    if (m_beforeIsForeign) {
      drive.reason = "the update is of other drives";
    } else if (!m_complete) {
      drive.reason = "there is no complete record of the update: neither its document nor a whole log";
    } else if (!isAbsent) {
      drive.reason = "it is one of several drives that the update's failed records may be about";
    } else if (m_flashed.empty()) {
      drive.state = Outcome::kUntouched;
      drive.reason = "the update found no drives, so nothing was flashed";
    } else {
      drive.state = Outcome::kMissing;
      drive.reason = "it was there before and the update did not find it";
    }
    m_unlisted.push_back(std::move(drive));
  }

  void findAfter() {
    const std::vector<Record>& after = m_evidence.after->records;
    m_after = align(flashedIdentities(), identitiesOf(after));
    m_afterIsForeign = sharesNoDrive(m_after, after.size());
    if (m_afterIsForeign)
      m_verdict.reasons.emplace_back("the update and the inventory after it are of different drives");
    if (after.empty())
      m_verdict.reasons.emplace_back(
          "the inventory after the update has no drives; a failed discovery and a missing drive library look "
          "the same");
    // A drive that came back after the update missed it was not flashed.
    DriveIdentities unlisted;
    for (const DriveVerdict& drive : m_unlisted) {
      unlisted.push_back(drive.pci ? std::optional(DriveIdentity{drive.serial.value_or(""), *drive.pci})
                                   : std::nullopt);
    }
    const std::vector<Counterpart> found = align(unlisted, identitiesOf(after));
    for (std::size_t i = 0; i < found.size(); ++i) {
      if (found[i].kind != Counterpart::Kind::kFound || !unlisted[i]) continue;
      DriveVerdict& drive = m_unlisted[i];
      drive.after = unlessEmpty(after[found[i].index].latestRevision());
      if (drive.state != Outcome::kMissing) continue;
      drive.state = Outcome::kUntouched;
      drive.reason = "the update did not find it; it is there again";
    }
  }

  void judge(std::size_t index) {
    Flashed& flashed = m_flashed[index];
    DriveVerdict& drive = flashed.drive;
    drive.wanted = m_evidence.wanted;
    const std::optional<std::string> unseen = readAfter(index);
    if (m_log != nullptr && m_log->payloadRefused) {
      set(drive, Outcome::kUntouched, "the payload folder did not hold exactly one entry");
    } else if (flashed.flash == Flash::kRefused) {
      judgeRefused(drive);
    } else if (flashed.flash == Flash::kNone && m_complete) {
      set(drive, Outcome::kUntouched, "the run ended before this drive");
    } else if (!flashed.identity) {
      set(drive, Outcome::kUndecided,
          "the document does not say which drive this is, nor how its flash ended");
    } else if (isAbsentAfter(index)) {
      set(drive, Outcome::kMissing, "it is not in the inventory after the update");
    } else if (unseen) {
      judgeUnseen(flashed, *unseen);
    } else {
      judgeRevisions(flashed);
    }
  }

  static void judgeRefused(DriveVerdict& drive) {
    std::string reason =
        drive.code ? describeCode(*drive.code)
                   : "the drive library refused the update; its code is in the debug log (option -d)";
    if (drive.before && drive.after && drive.before != drive.after)
      reason += ". It runs another revision all the same: see whether the drive works";
    set(drive, Outcome::kFailed, std::move(reason));
  }

  /// Reads the drive's revision after the update. Why there is none, if so.
  std::optional<std::string> readAfter(std::size_t index) {
    DriveVerdict& drive = m_flashed[index].drive;
    if (m_evidence.after == nullptr) return "nothing shows what it runs now: take an inventory";
    const Counterpart& found = m_after[index];
    if (m_afterIsForeign) return "the inventory after the update is of other drives";
    if (found.kind != Counterpart::Kind::kFound)
      return "it is one of several drives that the inventory after the update may be about";
    if (drive.identifiedBy == IdentifiedBy::kSerial) drive.identifiedBy = found.how;
    const Record& record = m_evidence.after->records[found.index];
    if (record.outcome == Outcome::kFailed)
      return "its revision could not be read after the update: " + record.message;
    drive.after = unlessEmpty(record.latestRevision());
    if (!drive.after) return "its revision after the update is blank";
    return std::nullopt;
  }

  bool isAbsentAfter(std::size_t index) const {
    return m_evidence.after != nullptr && !m_afterIsForeign &&
           m_after[index].kind == Counterpart::Kind::kAbsent;
  }

  static void judgeUnseen(Flashed& flashed, const std::string& why) {
    DriveVerdict& drive = flashed.drive;
    if (drive.before && drive.before == drive.wanted) {
      set(drive, Outcome::kCurrent, "");
    } else if (flashed.flash == Flash::kDone) {
      set(drive, Outcome::kUndecided, "reported as success; " + why);
    } else {
      set(drive, Outcome::kUndecided, why);
    }
  }

  void judgeRevisions(Flashed& flashed) {
    DriveVerdict& drive = flashed.drive;
    const bool isWanted = !drive.wanted || drive.after == drive.wanted;
    if (!drive.before) {
      set(drive, Outcome::kUndecided, "what it ran before is unknown");
    } else if (drive.after != drive.before && isWanted) {
      set(drive, Outcome::kUpdated, "");
    } else if (drive.after != drive.before) {
      set(drive, Outcome::kUndecided, "it runs another revision than before, but not the wanted one");
    } else if (drive.wanted && isWanted) {
      set(drive, Outcome::kCurrent, "");
    } else if (flashed.flash == Flash::kDone) {
      set(drive, Outcome::kUnchanged,
          "reported as success, but it runs what it ran before. Nothing tells whether a reset is owed: "
          "restart the server and take another inventory");
    } else {
      set(drive, Outcome::kUndecided, "nothing tells how its flash ended");
    }
  }

  static void set(DriveVerdict& drive, Outcome state, std::string reason) {
    drive.state = state;
    drive.reason = std::move(reason);
  }

  const UpdateEvidence& m_evidence;
  const LoggedRun* m_log = nullptr;  // the evidence's, unless it is of another run
  bool m_complete = false;           // every drive that was flashed is in m_flashed
  bool m_beforeIsForeign = false;    // it shares no drive with the update
  bool m_afterIsForeign = false;     // likewise
  std::vector<Flashed> m_flashed;
  std::vector<DriveVerdict> m_unlisted;  // of the inventory before, without a certain record in the update
  std::vector<Counterpart> m_after;      // by index of m_flashed
  Verdict m_verdict;
};

}  // namespace

Verdict verify(const UpdateEvidence& evidence) {
  return Verification(evidence).run();
}

}  // namespace tool
