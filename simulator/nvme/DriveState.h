// What flashing leaves behind for later processes.

#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "DriveRecords.h"

namespace simulator {

/// The revisions of the drives that were flashed, by address, in a JSON file that is written whole each time.
/// A file that is missing or damaged says that no drive was flashed, and so does a damaged entry of its
/// drive.
class DriveState {
 public:
  /// `file` must be absolute.
  explicit DriveState(std::filesystem::path file);

  /// Nothing: the drive has its first revision still.
  std::optional<Revision> revision(const DriveAddress& address) const;

  /// Throws std::system_error, the file being as it was.
  void keep(const DriveAddress& address, const Revision& revision) const;

 private:
  /// The file's object, empty where the file does not hold one.
  nlohmann::json load() const;

  std::filesystem::path m_file;
};

}  // namespace simulator
