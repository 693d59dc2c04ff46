// What a run keeps of itself in run.json, so that any later call can join it, finish it or tell how it ended.

#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tool {

enum class RunKind { kInventory, kUpdate };

/// How far a run got. A run that is not done and that no process carries on any more has died there.
enum class RunPhase {
  kPlanning,   ///< inventory, plan, question; nothing is flashed
  kApproved,   ///< may be flashed; nothing is yet
  kFlashing,   ///< the component may have begun to flash
  kVerifying,  ///< the component has ended; its outcome is being found out
  kDone,       ///< verdict.json has the outcome
};

struct RunRecord {
  std::string name{};
  std::uint64_t sequence = 0;  ///< orders runs; a clock may jump
  RunKind kind = RunKind::kUpdate;
  RunPhase phase = RunPhase::kPlanning;
  std::string component{};      ///< absolute path of the component folder
  std::string workingFolder{};  ///< where the update runs: the component folder, or the run's copy of it
  std::map<std::string, std::string> environment{};  ///< of the component, all of it
  std::map<std::string, std::string> policy{};       ///< what was asked for, by option; for people
  std::string payload{};                             ///< SHA-256 of the firmware file; empty before the plan
  std::string bootId{};                              ///< the boot in which it flashed, or was planned
  std::string verifiedIn{};                          ///< the boot of the inventory that the verdict rests on
  std::string began{};                               ///< time of day, for people
  std::string ended{};                               ///< likewise; empty until it is done
  std::int64_t approved = 0;                         ///< in seconds since boot; 0: it was not approved
  std::int64_t flashBegan = 0;                       ///< in seconds since boot; 0: it has not begun
  std::size_t toFlash = 0;                           ///< drives that were to be flashed
  bool hasFlashed = false;                           ///< the component was started for an update
  bool wasInterrupted = false;                       ///< it was cut off: it, the component or the server died
  unsigned int attempts = 0;                         ///< how often it was planned
  std::optional<int> exitStatus{};  ///< of the component's update; none when nobody was there to see it end

  bool operator==(const RunRecord&) const = default;
};

/// "planning", "approved", "flashing", "verifying" or "done".
const char* nameOf(RunPhase phase);

/// "inventory" or "update".
const char* nameOf(RunKind kind);

/// One JSON object with a line feed at its end.
std::string toJson(const RunRecord& record);

/// Reads run.json. Throws std::runtime_error that says what is wrong, with the member's name or the place in
/// the text, unless it is a record of a version that is known. Members that are not known are passed over.
RunRecord readRunRecord(const std::string& content);

}  // namespace tool
