// What flashing keeps for later processes.

#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "DriveRecords.h"

namespace simulator {

/// The revisions of the drives that were flashed, by address, in a JSON file that is written whole each time.
/// A missing or damaged file means that no drive was flashed, a damaged entry that its drive was not.
class DriveState {
 public:
  /// `file` must be absolute.
  explicit DriveState(std::filesystem::path file);

  /// Nothing if the drive was never flashed.
  std::optional<Revision> revision(const DriveAddress& address) const;

  /// Throws std::system_error on failure; the file is then unchanged.
  void keep(const DriveAddress& address, const Revision& revision) const;

 private:
  /// The file's object; empty if the file does not hold one.
  nlohmann::json load() const;

  std::filesystem::path m_file;
};

}  // namespace simulator
