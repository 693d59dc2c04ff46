// What is known of an update, drive by drive: the JSON in which commands about updates answer, and which a
// run leaves as verdict.json. docs/schema/verdict.json describes it.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Document.h"

namespace tool {

/// How a drive's record was told from the others.
enum class IdentifiedBy { kLog, kOrder, kSerial };

/// For a person and for programs: "log", "order" or "serial".
const char* nameOf(IdentifiedBy how);

/// A fact: nothing where the text is empty.
inline std::optional<std::string> unlessEmpty(std::string_view text) {
  return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

/// One drive. An absent text is a fact that nothing tells. Revisions have no padding.
struct DriveVerdict {
  std::optional<std::string> serial{};
  std::optional<std::string> name{};  ///< marketing name
  std::optional<std::string> model{};
  std::optional<PciIds> pci{};
  std::optional<std::string> address{};
  std::optional<std::string> before{};  ///< revision before the update
  std::optional<std::string> after{};   ///< revision now
  std::optional<std::string> staged{};  ///< revision that the next reset brings
  std::optional<std::string> wanted{};
  Outcome state = Outcome::kUndecided;  ///< kListed for a drive of a file that has no state
  std::optional<std::int32_t> code{};   ///< the drive library's answer
  std::string reason{};                 ///< for a person: why this state, and what to do; may be empty
  std::optional<IdentifiedBy> identifiedBy{};

  bool operator==(const DriveVerdict&) const = default;
};

/// What a whole command comes to.
enum class RunOutcome { kDone, kFailed, kUndecided, kRefused, kRunning };

/// For a person and for programs: the one word for an outcome, as "done".
const char* nameOf(RunOutcome outcome);

/// What a command ends with whose answer comes to that: 0, 1, 3, 4 and 5, in the order above. Wrong usage,
/// which leaves no verdict, is 2.
int exitStatusOf(RunOutcome outcome);

struct Verdict {
  std::optional<std::string> run{};  ///< the run's name; none for documents of no run
  RunOutcome outcome = RunOutcome::kUndecided;
  std::vector<std::string> reasons{};   ///< about the run as a whole, for a person
  std::optional<std::string> bootId{};  ///< the boot in which the run flashed
  bool wasInterrupted = false;          ///< the run was cut off: it, the component or the server died
  std::vector<DriveVerdict> drives{};   ///< in the order of discovery

  bool operator==(const Verdict&) const = default;
};

/// Sets `outcome` from the drives' states: kFailed when one failed, is missing or stale; else kRefused when
/// one is refused or unhealthy; else kDone when every drive is updated, staged or current; else, and without
/// drives, kUndecided.
void conclude(Verdict& verdict);

/// The verdict as one JSON object, indented, with a line feed at its end. Bytes that are no UTF-8 become
/// U+FFFD.
std::string toJson(const Verdict& verdict);

/// What came of reading a verdict.
struct VerdictReading {
  std::optional<Verdict> verdict{};
  std::string problem{};  ///< why there is none; names the drive by its position, and the line of broken JSON
  bool foreign = false;   ///< there is none, and `content` is JSON of another kind
};

/// Reads an object with `version` (1) and `drives`, an array of objects. Everything else may be absent or
/// null, and members of other names are passed over.
VerdictReading readVerdict(const std::string& content);

/// The drives as records, as other documents have them. The model stands in for a missing name.
Document toDocument(Verdict verdict);

}  // namespace tool
