// What a result document says, as the tool's own plain records.

#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

enum class DocumentKind { kInventory, kUpdate };

/// What a document says about one record.
enum class Outcome {
  kListed,   ///< it stands there and has no status, as every drive of an inventory
  kSuccess,  ///< its status is a success. That does not prove that the drive runs new firmware
  kFailed,   ///< its status is a failure
};

/// PCI ids as the document has them: hexadecimal, without leading zeros. All empty when it has none.
struct PciIds {
  std::string vendor{};
  std::string device{};
  std::string subVendor{};
  std::string subDevice{};

  bool operator==(const PciIds&) const = default;
};

/// One drive or package component. A text that the document does not have is empty. A failed record of a
/// document by nvmepcissd has nothing but its message: the document does not say which drive it is.
struct Record {
  Outcome outcome = Outcome::kListed;
  std::string componentId{};
  PciIds pci{};
  std::string name{};
  std::string enumId{};  ///< for a drive, its serial number with a label before it
  std::string componentType{};
  std::string revision{};  ///< with the blanks that pad it. In an update, what the drive ran before
  int messageId = 0;
  std::string message{};

  /// The enumeration id without the label that drives have. Points into the record.
  std::string_view serialNumber() const;

  /// As "vendor:device subvendor:subdevice"; empty without any.
  std::string pciText() const;

  /// The revision without the blanks around it. Points into the record.
  std::string_view trimmedRevision() const;

  bool operator==(const Record&) const = default;
};

/// An inventory or update document.
struct Document {
  DocumentKind kind = DocumentKind::kInventory;
  std::vector<Record> records{};  ///< in document order
  bool rebootRequired = false;    ///< the document holds the reboot element with a 1
};

/// For a person and for programs: "inventory" or "update".
const char* kindName(DocumentKind kind);

/// For a person and for programs: "listed", "success" or "failed".
const char* outcomeName(Outcome outcome);

}  // namespace tool
