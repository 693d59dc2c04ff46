// Where runs keep what they leave: a folder for each run, with its record, documents, logs and verdict.

#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "RunRecord.h"

namespace tool {

/// A run and its folder. A copy is a snapshot: other processes may carry the run on.
struct Run {
  std::filesystem::path folder{};  ///< absolute, readable by its owner alone
  RunRecord record{};

  std::filesystem::path file(const char* name) const { return folder / name; }

  /// Puts the record on the disk, in one step. Throws std::system_error; the record there is unchanged then.
  void save() const;

  /// The record as it is on the disk now. Throws std::runtime_error for one that cannot be read.
  void load();

  /// Puts the files of an attempt that failed aside, with the record as it is on the disk, so that the next
  /// one begins without them.
  void setAside() const;

  /// What was put aside, as runs of their own. An attempt that cannot be read is left out.
  std::vector<Run> attempts() const;
};

/// What stands in a state folder.
struct RunList {
  std::vector<Run> runs{};              ///< oldest first
  std::vector<std::string> problems{};  ///< one for each folder whose record cannot be read
};

class StateFolder {
 public:
  /// How many finished runs of each kind are kept.
  static constexpr std::size_t kKept = 50;

  /// `root` need not exist.
  explicit StateFolder(const std::filesystem::path& root);

  /// /var/lib/nvmepcissd/runs for root, else the user's own state folder. Throws std::runtime_error for a
  /// user without a home.
  static std::filesystem::path usualPlace();

  /// 1 to 64 letters, digits, "-", "_" and ".", beginning with a letter or a digit.
  static bool isName(const std::string& name);

  /// A new run in the phase kPlanning. An empty name stands for one made of the time. The run is there whole,
  /// with its record, or not at all. The caller holds the RunLock. Throws std::system_error: EEXIST for a
  /// name that is taken.
  Run create(RunKind kind, const std::string& name) const;

  /// Nothing for a name without a folder. Throws std::runtime_error for a run that cannot be read.
  std::optional<Run> find(const std::string& name) const;

  RunList list() const;

  /// Removes the oldest finished runs of a kind. An unfinished one stays, and so does everything that is no
  /// run. What cannot be removed is left for the next time.
  void prune(RunKind kind) const;

  const std::filesystem::path& root() const { return m_root; }

 private:
  std::filesystem::path m_root;
};

}  // namespace tool
