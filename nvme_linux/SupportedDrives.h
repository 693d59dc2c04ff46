#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ControllerList.h"

namespace nvme_linux {

/// One drive model of a package: a PCIInfo whose four ids are hexadecimal numbers of 16 bits, with or without
/// "0x". An id that it leaves out is inherited from the entry before; the other two keys are not.
struct SupportedModel {
  PciIds ids;
  std::optional<std::string> model;  ///< "model": the model number that it must have, besides
  std::optional<std::string>
      fromRevision;  ///< "fromRevision": the revision that must run for it to be flashed

  auto operator<=>(const SupportedModel&) const = default;  // NOLINT(modernize-use-nullptr): a false alarm
};

/// The drives that a package is for.
class SupportedDrives {
 public:
  /// Reads "package.xml" of a folder. When it supports no drive, one line to `host` tells whether the file is
  /// missing, cannot be parsed or names none.
  static SupportedDrives of(Host& host, const std::string& folder = ".");

  explicit SupportedDrives(std::set<SupportedModel> models) : m_models(std::move(models)) {}

  /// By ids and, where the entry has one, by model number. Drives that are not named do not exist for
  /// callers.
  bool names(const PciController& controller) const;

  /// True when an entry that names the drive wants this revision, or any. Only drives that run a wanted
  /// revision are flashed; all that are named are listed, so that a drive is still found after its update.
  bool allowsUpdateFrom(const PciController& controller, const std::string& revision) const;

  const std::set<SupportedModel>& models() const { return m_models; }

 private:
  std::set<SupportedModel> m_models;
};

/// The serial numbers of "drives.allow" in a folder, one a line, blanks around them and empty lines ignored.
/// Nothing when there is no such file: every drive is allowed then. A file that cannot be read allows none,
/// and one line to `host` says so.
std::optional<std::set<std::string>> allowedSerials(Host& host, const std::string& folder = ".");

}  // namespace nvme_linux
