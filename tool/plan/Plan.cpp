#include "Plan.h"

#include <algorithm>
#include <map>
#include <set>

#include "DriveMatch.h"
#include "Gates.h"
#include "Identity.h"

namespace tool {

namespace {

struct PlannedDrive {
  DriveMatch match{};
  DriveVerdict verdict{};
  std::optional<Refusal> refusal{};  ///< why it must not be flashed, also if nothing asks for that
};

/// A line of drives.allow is one serial number.
bool canBeListed(const std::string& serial) {
  return !serial.empty() &&
         std::none_of(serial.begin(), serial.end(), [](unsigned char c) { return c < ' '; });
}

class Planner {
 public:
  explicit Planner(const PlanInput& input) : m_input(input) {}

  Plan plan() {
    const std::vector<DriveMatch> matches = matchDrives(m_input.inventory, m_input.kernel);
    for (std::size_t i = 0; i < matches.size(); ++i)
      m_drives.push_back(decide(m_input.inventory[i], matches[i]));
    keepToOneLeg();
    checkRun();
    if (m_input.obeysList) {
      listDrives();
    } else {
      refuseWhatCannotBeLeftOut();
    }
    return conclude();
  }

 private:
  bool isFlashed(const PlannedDrive& drive) const { return drive.verdict.state == Outcome::kFlash; }

  std::size_t toFlash() const {
    return static_cast<std::size_t>(std::count_if(m_drives.begin(), m_drives.end(),
                                                  [this](const auto& drive) { return isFlashed(drive); }));
  }

  PlannedDrive decide(const Record& record, const DriveMatch& match) {
    PlannedDrive drive{.match = match};
    const DriveFacts* const facts = match.facts;
    DriveVerdict& verdict = drive.verdict;
    const std::string revision = revisionOf(record, facts);
    if (record.outcome != Outcome::kFailed) verdict.pci = record.pci;
    verdict.serial = unlessEmpty(record.serialNumber());
    verdict.name = unlessEmpty(record.name);
    verdict.before = unlessEmpty(revision);
    if (facts != nullptr) {
      verdict.model = unlessEmpty(facts->model);
      verdict.address = unlessEmpty(facts->address);
    }
    const PolicyRule* const rule = m_input.policy.ruleFor(verdict.pci, verdict.model.value_or(""));
    if (rule != nullptr) {
      m_rules.insert(rule);
      verdict.wanted = rule->to;
    }
    const bool isUpdated = !verdict.wanted && isUpdatedAlready(record, revision);
    const bool isCurrent = isUpdated || (verdict.wanted && verdict.before == verdict.wanted);
    drive.refusal = refusalOf({record, match, rule, revision, isCurrent}, m_input.policy, m_input.payload,
                              m_input.obeysList);
    if (isUpdated) {
      verdict.state = Outcome::kCurrent;
      verdict.reason = "this run has updated it before";
    } else {
      setState(drive, stagedOf(record, facts));
    }
    return drive;
  }

  static std::string revisionOf(const Record& record, const DriveFacts* facts) {
    std::string revision = nvme_linux::trimmed(record.revision);
    return revision.empty() && facts != nullptr ? facts->revision : revision;
  }

  /// The revision that waits for a reset, which may be empty for one that nobody knows; nothing when none
  /// does. The drive's slots know better than a record of ours: a reset does not end the boot.
  std::optional<std::string> stagedOf(const Record& record, const DriveFacts* facts) const {
    if (facts != nullptr && facts->slots) {
      if (!facts->slots->isStaged()) return std::nullopt;
      return facts->slots->stagedRevision();
    }
    const EarlierFlash* const taken = earlierFlashOf(record);
    return taken == nullptr || taken->isRunning ? std::nullopt : std::optional(taken->revision);
  }

  /// Null for a drive that has not taken this payload.
  const EarlierFlash* earlierFlashOf(const Record& record) const {
    const auto taken =
        std::find_if(m_input.earlier.begin(), m_input.earlier.end(), [&](const EarlierFlash& flash) {
          return flash.serial == record.serialNumber() && flash.pci == record.pci && !flash.serial.empty() &&
                 flash.sha256 == m_input.payload.sha256;
        });
    return taken == m_input.earlier.end() ? nullptr : &*taken;
  }

  /// The payload was flashed already, and the drive still runs what that has brought.
  bool isUpdatedAlready(const Record& record, const std::string& revision) const {
    const EarlierFlash* const taken = earlierFlashOf(record);
    return taken != nullptr && taken->isRunning && taken->revision == revision;
  }

  void setState(PlannedDrive& drive, const std::optional<std::string>& staged) const {
    DriveVerdict& verdict = drive.verdict;
    verdict.staged = unlessEmpty(staged.value_or(""));
    const bool isWanted = !verdict.wanted || !verdict.staged || verdict.staged == verdict.wanted;
    if (verdict.wanted && verdict.before == verdict.wanted) {
      verdict.state = Outcome::kCurrent;
      verdict.reason = "it runs the wanted revision";
      if (staged && verdict.staged != verdict.wanted)
        verdict.reason +=
            "; the next reset brings another one, " + verdict.staged.value_or("which has no name");
    } else if (staged && isWanted) {
      verdict.state = Outcome::kStaged;
      verdict.reason = kStagedReason;
    } else if (drive.refusal) {
      verdict.state = drive.refusal->state;
      verdict.reason = drive.refusal->reason;
    } else {
      verdict.state = Outcome::kFlash;
      verdict.reason =
          verdict.wanted ? "it does not run the wanted revision" : "no revision is named that it is to run";
      if (staged) verdict.reason += "; " + *staged + ", which waits for a reset, is replaced";
    }
  }

  void refuse(PlannedDrive& drive, const std::string& reason) const {
    drive.refusal = Refusal{.reason = reason};
    if (!isFlashed(drive)) return;
    drive.verdict.state = Outcome::kRefused;
    drive.verdict.reason = reason;
  }

  /// Two legs of an array in one run would meet the same fault of the new firmware together. A leg that waits
  /// for its reset counts too, whichever run has flashed it.
  void keepToOneLeg() {
    if (m_input.policy.inUse != InUse::kRedundant || toFlash() == 0) return;
    std::map<std::string, const DriveFacts*> legs;
    for (const PlannedDrive& drive : m_drives) {
      if (drive.verdict.state == Outcome::kStaged) takeLegs(drive, legs);
    }
    for (PlannedDrive& drive : m_drives) {
      const bool isTouched = isFlashed(drive) || (!m_input.obeysList && !drive.refusal);
      if (!isTouched) continue;
      const std::string array = takeLegs(drive, legs);
      if (!array.empty())
        refuse(drive, "another leg of " + array + " is flashed in this run, or waits for its reset");
    }
  }

  /// Claims the arrays under what uses the drive. The name of one that another drive has; empty when there is
  /// none.
  static std::string takeLegs(const PlannedDrive& drive, std::map<std::string, const DriveFacts*>& legs) {
    const DriveFacts* const facts = drive.match.facts;
    if (facts == nullptr) return {};
    for (const nvme_linux::DriveUse& use : facts->uses) {
      const auto found = legs.find(use.redundantThrough);
      if (found != legs.end() && !areOneDrive(*found->second, *facts)) return use.redundantThrough;
    }
    for (const nvme_linux::DriveUse& use : facts->uses) {
      if (use.isRedundant()) legs.try_emplace(use.redundantThrough, facts);
    }
    return {};
  }

  /// Gates for the run as a whole.
  void checkRun() {
    const Policy& policy = m_input.policy;
    const Payload& payload = m_input.payload;
    if (m_drives.empty()) refuseRun("the inventory lists no drive");
    if (policy.expectDrives && *policy.expectDrives != m_drives.size()) {
      refuseRun("the policy expects " + std::to_string(*policy.expectDrives) +
                " drives, and the inventory lists " + std::to_string(m_drives.size()));
    }
    if (!payload.problem.empty()) refuseRun(payload.problem);
    const bool isWrong = payload.problem.empty() &&
                         std::any_of(m_rules.begin(), m_rules.end(),
                                     [&](const auto* rule) { return hasWrongChecksum(*rule, payload); });
    if (isWrong) {
      refuseRun("the payload " + payload.name + " is not the one that the policy is for: its SHA-256 is " +
                payload.sha256);
    }
  }

  void refuseRun(const std::string& reason) {
    m_reasons.push_back(reason);
    for (PlannedDrive& drive : m_drives) {
      if (isFlashed(drive)) refuse(drive, "the whole run is refused: " + reason);
    }
  }

  /// The library flashes every drive that it finds: one that must not be flashed keeps all from it.
  void refuseWhatCannotBeLeftOut() {
    if (toFlash() == 0) return;
    const auto kept = std::find_if(m_drives.begin(), m_drives.end(),
                                   [](const PlannedDrive& drive) { return drive.refusal.has_value(); });
    if (kept == m_drives.end()) return;
    const std::size_t place = static_cast<std::size_t>(kept - m_drives.begin()) + 1;
    refuseRun("the package's drive library flashes every drive that it finds, and drive " +
              std::to_string(place) + " (" + kept->verdict.serial.value_or("without a serial number") +
              ") must not be flashed: " + kept->refusal->reason);
  }

  /// Serial numbers stand for drives in the list, so that drives that share one are flashed together.
  void listDrives() {
    if (toFlash() == 0 || toFlash() == m_drives.size()) return;
    std::set<std::string> kept;
    for (const PlannedDrive& drive : m_drives) {
      if (drive.refusal) kept.insert(listedSerial(drive));
    }
    std::set<std::string> listed;
    for (PlannedDrive& drive : m_drives) {
      if (!isFlashed(drive)) continue;
      const std::string serial = listedSerial(drive);
      if (!canBeListed(serial)) {
        refuse(drive, "it has no serial number by which the other drives could be left out");
      } else if (kept.contains(serial)) {
        refuse(drive, "a drive with the same serial number must not be flashed");
      } else {
        listed.insert(serial);
      }
    }
    if (!listed.empty()) m_allowed.emplace(listed.begin(), listed.end());
  }

  /// As the library compares it, which takes it from the kernel.
  static std::string listedSerial(const PlannedDrive& drive) {
    return drive.match.facts != nullptr ? drive.match.facts->serial : drive.verdict.serial.value_or("");
  }

  Plan conclude() {
    Plan result{.allowed = std::move(m_allowed)};
    bool isRefused = !m_reasons.empty();
    for (PlannedDrive& drive : m_drives) {
      const Outcome state = drive.verdict.state;
      isRefused = isRefused || state == Outcome::kRefused || state == Outcome::kUnhealthy;
      result.verdict.drives.push_back(std::move(drive.verdict));
      result.facts.push_back(drive.match.facts);
    }
    result.verdict.outcome = isRefused ? RunOutcome::kRefused : RunOutcome::kDone;
    result.verdict.reasons = std::move(m_reasons);
    return result;
  }

  const PlanInput& m_input;
  std::vector<PlannedDrive> m_drives;
  std::set<const PolicyRule*> m_rules;  ///< those that apply to a drive
  std::vector<std::string> m_reasons;   ///< why the whole run is refused
  std::optional<std::vector<std::string>> m_allowed;
};

}  // namespace

std::size_t Plan::toFlash() const {
  return static_cast<std::size_t>(
      std::count_if(verdict.drives.begin(), verdict.drives.end(),
                    [](const DriveVerdict& drive) { return drive.state == Outcome::kFlash; }));
}

Plan planUpdate(const PlanInput& input) {
  return Planner(input).plan();
}

}  // namespace tool
