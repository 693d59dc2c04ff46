// The simulated drive library without its C entry points.

#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

#include "DriveRecords.h"
#include "DriveScenario.h"
#include "DriveState.h"

namespace simulator {

/// Prefix of complaints on standard error.
inline constexpr const char* kLibraryName = "simulated libnvme.so";

/// The library's own results; a scenario may name any others.
enum Result : std::int32_t {
  kDone = 0,
  kScenarioRefused = 1001,  // missing or malformed, as standard error says
  kUnknownDrive = 1002,     // no drive at this address
  kPayloadRefused = 1003,   // not a readable file, or empty
  kStateNotKept = 1004,     // the new revision could not be written to the state file
  kNullArgument = 1005,
  kInternalFailure = 1006,
};

class SimulatedDrives {
 public:
  /// Reads the scenario. Throws std::runtime_error if it is missing or malformed.
  SimulatedDrives();

  /// Once released, where the scenario has it hang: sets `count` and `list`, which this object owns, as the
  /// scenario says. On a result other than 0 both stay unchanged.
  std::int32_t discover(std::uint32_t& count, DriveRecord**& list);

  /// Fills all of `information`. On a result other than 0 it stays unchanged.
  std::int32_t information(const DriveAddress& address, DriveInformation& information) const;

  /// Flashes the drive. On 0 and 267 its new revision is kept, on any other result nothing changes. A drive
  /// that hangs is flashed once it is released.
  std::int32_t update(const DriveAddress& address, const char* payload) const;

 private:
  /// Null for an address without a drive, and for a drive that is gone.
  const Drive* find(const DriveAddress& address) const;
  bool isGone(const Drive& drive) const;
  Revision runningRevision(const Drive& drive) const;
  void keepFlashed(const Drive& drive) const;

  /// Waits until the release file exists, at most as long as the longest flash.
  void awaitRelease() const;

  std::filesystem::path m_releaseFile;
  DriveScenario m_scenario;
  DriveState m_state;
  // Each record is an allocation of its own, so that memory checkers see a caller that reads beyond it.
  std::vector<std::unique_ptr<DriveRecord>> m_records;
  std::vector<DriveRecord*> m_list;  // into m_records, or null, in the scenario's order
};

}  // namespace simulator
