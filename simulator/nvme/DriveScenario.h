// The drives of a simulated server and how they behave, read from a JSON file. simulator/README.md describes
// its format.

#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "DriveRecords.h"

namespace simulator {

/// No flash takes longer, whatever a scenario says.
inline constexpr std::chrono::milliseconds kLongestUpdate{600'000};

/// When the firmware that a successful flash brought begins to run.
enum class Activation {
  kFlash,  // at once
  kReset,  // with the next reset
  kNever,  // it waits for a reset, after which the old firmware still runs
};

/// After which event a drive is gone: no longer listed, and unknown to the other calls.
enum class GoneAfter {
  kNothing,
  kFlash,  // a successful flash
  kReset,  // the first reset after a successful flash
};

struct Drive {
  DriveRecord record;
  Revision revision;
  std::optional<Revision> newRevision;  // what a successful flash brings; nothing: it changes nothing
  std::int32_t revisionResult{};
  std::int32_t updateResult{};
  std::chrono::milliseconds updateTime{};
  bool updateHangs{};  // flashing waits to be released
  Activation activation{};
  GoneAfter goneAfter{};
  std::uint8_t criticalWarning{};  // as in a drive's health log; with any bit set it refuses every flash
  bool isListed{};                 // false: the list's entry is null
};

/// The values that a successful discovery returns to its caller.
enum class ListShape {
  kWhole,
  kNull,       // the count, and null for the list
  kUntouched,  // the count, and the caller's list pointer as it was
  kUncounted,  // the list, and 0 for the count
};

struct DriveScenario {
  std::int32_t discoveryResult{};
  bool discoveryHangs{};  // discovery waits to be released
  ListShape list{};
  std::vector<Drive> drives;  // no two with the same address
};

/// Throws std::runtime_error that names the file and the offending key.
DriveScenario readDriveScenario(const std::filesystem::path& path);

}  // namespace simulator
