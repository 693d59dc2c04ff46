// What flashing keeps for later processes.

#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "DriveRecords.h"

namespace simulator {

/// What flashed drives run, by address, in a JSON file that is written whole each time. A missing or damaged
/// file means that no drive was flashed, a damaged entry that its drive was not.
///
/// An entry is the running revision, or an object for a drive that a reset will change: `now` and
/// `afterReset` are revisions, `since` names the time between two resets in which the drive was flashed.
class DriveState {
 public:
  /// `file` must be absolute. `session` is any text that differs after a reset; see `currentSession`.
  DriveState(std::filesystem::path file, std::string session);

  /// What the drive runs; nothing if it was never flashed.
  std::optional<Revision> revision(const DriveAddress& address) const;

  bool wasFlashed(const DriveAddress& address) const;

  /// True if there was a reset since `keepUntilReset`.
  bool wasResetSince(const DriveAddress& address) const;

  /// Both throw std::system_error on failure; the file is then unchanged.
  void keep(const DriveAddress& address, const Revision& revision) const;
  void keepUntilReset(const DriveAddress& address, const Revision& now, const Revision& afterReset) const;

 private:
  /// The file's object; empty if the file does not hold one.
  nlohmann::json load() const;

  /// The drive's entry; null if it has none, or a damaged one.
  nlohmann::json entry(const DriveAddress& address) const;
  void replace(const DriveAddress& address, const nlohmann::json& entry) const;

  std::filesystem::path m_file;
  std::string m_session;
};

/// The time between two resets of the drives, as a text: a reboot begins another one, and so does any change
/// of the content of `resetFile`, which may be missing.
std::string currentSession(const std::filesystem::path& resetFile);

}  // namespace simulator
