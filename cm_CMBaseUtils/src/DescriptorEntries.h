// The supported devices of a package descriptor ("package.xml", SoftwareComponentInfo.h shows the format),
// entry by entry, with what each entry inherits. Works on any document that the caller has parsed, logs
// nothing and copies no text.

#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "LibXml.h"

namespace descriptor {

/// Selects the Device elements. Their names are matched exactly; the names below a Device, letter case aside.
constexpr char kDevices[] = "//SoftwareComponent/SupportedDevices/Device";

/// The attributes of a PCIInfo, in the order in which they are read and compared.
enum Id : std::size_t { kDeviceId, kSubDeviceId, kVendorId, kSubVendorId };
constexpr std::array<const char*, 4> kIdNames{"deviceID", "subDeviceID", "vendorID", "subVendorID"};

/// Where each of the four ids stands in the document, by `Id`. Null for an id that no element has had yet.
using Ids = std::array<const xmlAttr*, kIdNames.size()>;

/// Sets the ids that `pciInfo` has and leaves the others as they are: a missing id is inherited from the
/// element that was read before.
void readIds(const xmlNode* pciInfo, Ids& ids);

/// An id as the component compares it: filled up with zeros to four characters, whatever the characters are.
/// Empty for null.
std::string zeroFilled(const char* id);

/// One PCIInfo of a Device. An id or a display name that is missing is inherited from the previous entry,
/// even across Devices; callers rely on this.
///
/// Everything points into the document and is valid as long as the document is. `xmlGetLineNo` of a node
/// gives its line.
struct Entry {
  const xmlNode* pciInfo{};
  Ids ids{};
  /// The Display that names the entry: the first one with a text after the PCIInfo in its Device, or the
  /// previous entry's. Null when there has been none yet.
  const xmlNode* display{};
  /// False when `display` is inherited.
  bool hasOwnDisplay = false;
  /// How many Display elements stand after the PCIInfo, up to and including its own. Those before the own one
  /// have no text.
  unsigned int displaysPassed = 0;

  const xmlNode* device() const { return pciInfo->parent; }

  /// The id as written; null when neither this entry nor one before it has the id.
  const char* id(Id which) const { return libxml::value(ids.at(which)); }

  /// The PCIInfo element that the id was written in: `pciInfo`, or an earlier one when the id is inherited,
  /// or null when there is no such id.
  const xmlNode* idOrigin(Id which) const;

  /// The text of `display`, "" when there is none.
  const char* name() const;
};

/// One entry per PCIInfo of `devices`, in document order. A Device without a PCIInfo has no entry.
std::vector<Entry> entries(std::span<xmlNode* const> devices);

}  // namespace descriptor
