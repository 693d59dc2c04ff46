// What a result document says, as the tool's own plain records.

#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

enum class DocumentKind { kInventory, kUpdate, kVerdict };

/// What a document says about one record. Inventory and update documents only have the first three; a verdict
/// is the result of comparing documents and has the others.
enum class Outcome {
  kListed,     ///< it has no status, like every drive of an inventory
  kSuccess,    ///< its status is a success. That does not prove that the drive runs new firmware
  kFailed,     ///< its status is a failure
  kUpdated,    ///< the running revision changed
  kStaged,     ///< the drive took the firmware and runs it after a reset
  kCurrent,    ///< it ran the wanted revision before
  kUnchanged,  ///< reported as a success, but the revision is the same as before
  kStale,      ///< it still runs the old revision although it was reset after staging
  kMissing,    ///< it was there before the update, but not after it
  kUntouched,  ///< nothing was flashed
  kUndecided,  ///< the documents do not tell
  kFlash,      ///< an update would flash it
  kRefused,    ///< policy or the drive's state forbid flashing it
  kUnhealthy,  ///< it reports a critical warning or an update in progress
};

/// How much an outcome should worry the person who is responsible for the drive.
enum class Tone { kGood, kNeutral, kWarning, kBad };

/// PCI ids as the document has them: hexadecimal, without leading zeros. All empty when it has none.
struct PciIds {
  std::string vendor{};
  std::string device{};
  std::string subVendor{};
  std::string subDevice{};

  bool operator==(const PciIds&) const = default;
};

/// One drive or package component. A text that the document does not have is empty. A failed record of an
/// inventory or update document has nothing but its message: the document does not say which drive it is.
struct Record {
  Outcome outcome = Outcome::kListed;
  std::string componentId{};
  PciIds pci{};
  std::string name{};
  std::string enumId{};  ///< for a drive, its serial number with a label before it
  std::string componentType{};
  std::string
      revision{};  ///< with the blanks that pad it. In an update and a verdict, what the drive ran before
  std::string newRevision{};  ///< in a verdict, what the drive runs after the update
  int messageId = 0;
  std::string message{};

  /// The enumeration id without the label that drives have. Points into the record.
  std::string_view serialNumber() const;

  /// As "vendor:device subvendor:subdevice"; empty without any.
  std::string pciText() const;

  /// The new revision where there is one, else the other, without the blanks around it. Points into the
  /// record.
  std::string_view latestRevision() const;

  bool operator==(const Record&) const = default;
};

/// An inventory or update document, or a verdict.
struct Document {
  DocumentKind kind = DocumentKind::kInventory;
  std::vector<Record> records{};       ///< in document order
  bool rebootRequired = false;         ///< the document holds the reboot element with a 1
  std::vector<std::string> reasons{};  ///< what a verdict says about the run as a whole, for a person
};

/// For people and programs alike: "inventory", "update" or "verdict".
const char* kindName(DocumentKind kind);

/// The word for an outcome, for people and programs alike: "listed", "success", "failed" and so on.
const char* outcomeName(Outcome outcome);

/// The outcome that `outcomeName` calls `name`; nothing for any other word.
std::optional<Outcome> outcomeNamed(std::string_view name);

Tone toneOf(Outcome outcome);

/// True for failed, missing and stale: the drive does not run the firmware that it should.
bool isFailure(Outcome outcome);

/// All outcomes, in the order of the enumeration.
std::span<const Outcome> allOutcomes();

}  // namespace tool
