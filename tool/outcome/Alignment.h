// Which record of one list of drives is which record of another.

#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Document.h"
#include "Verdict.h"

namespace tool {

/// What tells a drive from others. Drives may share a serial number, or have none.
struct DriveIdentity {
  std::string serial{};
  PciIds pci{};

  bool operator==(const DriveIdentity&) const = default;
};

/// One list in the order of discovery. A record that does not say whose it is, as failed ones do not, has no
/// identity.
using DriveIdentities = std::vector<std::optional<DriveIdentity>>;

struct Counterpart {
  enum class Kind {
    kFound,
    kAbsent,     ///< the drive is not in the other list
    kAmbiguous,  ///< it may be one of several, or absent
  };
  Kind kind = Kind::kAmbiguous;
  std::size_t index{};                       ///< in the other list; for kFound only
  IdentifiedBy how = IdentifiedBy::kSerial;  ///< likewise: kSerial or kOrder
};

/// For every record of `from` its counterpart in `to`. Two lists of the same drives have the same order, as
/// long as no drive came, went or moved: an unambiguous serial number decides first, then the order between
/// two records that are certain. What neither decides is ambiguous, never guessed. Linear in the lists'
/// sizes.
std::vector<Counterpart> align(const DriveIdentities& from, const DriveIdentities& to);

}  // namespace tool
