#include "SimulatedDrives.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>

#include "Files.h"

namespace simulator {

namespace {

/// The firmware is in place and becomes active with the next reset.
constexpr std::int32_t kResetRequired = 267;

/// Internal Error: what a drive in fail-safe mode answers.
constexpr std::int32_t kInternalError = 6;

bool isSuccess(std::int32_t result) {
  return result == kDone || result == kResetRequired;
}

/// Any readable regular file that is not empty is accepted as firmware.
bool isPayload(const char* path) {
  try {
    if (!RegularFile(path).read(1).empty()) return true;
    complain(kLibraryName, std::string(path) + ": the payload is empty");
  } catch (const std::runtime_error& error) {
    complain(kLibraryName, error.what());
  }
  return false;
}

}  // namespace

SimulatedDrives::SimulatedDrives()
    : m_releaseFile(pathFromEnvironment("NVME_SIMULATOR_RELEASE", "nvme-release")),
      m_scenario(readDriveScenario(pathFromEnvironment("NVME_SIMULATOR_SCENARIO", "scenario.json"))),
      m_state(pathFromEnvironment("NVME_SIMULATOR_STATE", "nvme-state.json"),
              currentSession(pathFromEnvironment("NVME_SIMULATOR_RESET", "nvme-reset"))) {
  // One allocation for each record: a caller that takes the list for an array of records then reads beyond
  // one, and the sanitizers tell.
  for (const Drive& drive : m_scenario.drives) {
    if (isGone(drive)) continue;
    m_records.push_back(drive.isListed ? std::make_unique<DriveRecord>(drive.record) : nullptr);
    m_list.push_back(m_records.back().get());
  }
}

std::int32_t SimulatedDrives::discover(std::uint32_t& count, DriveRecord**& list) {
  if (m_scenario.discoveryHangs) awaitRelease();
  if (m_scenario.discoveryResult != kDone) return m_scenario.discoveryResult;
  count = m_scenario.list == ListShape::kUncounted ? 0 : static_cast<std::uint32_t>(m_list.size());
  if (m_scenario.list == ListShape::kNull) {
    list = nullptr;
    // Untouched: a caller must not rely on what its own variable held before.
  } else if (m_scenario.list != ListShape::kUntouched) {
    list = m_list.data();
  }
  return kDone;
}

std::int32_t SimulatedDrives::information(const DriveAddress& address, DriveInformation& information) const {
  const Drive* const drive = find(address);
  if (drive == nullptr) return kUnknownDrive;
  if (drive->revisionResult != kDone) return drive->revisionResult;
  information.revision = runningRevision(*drive);
  // Not zero, so that a test notices a caller that reads beyond the revision.
  information.unused.fill(0xA5);
  return kDone;
}

std::int32_t SimulatedDrives::update(const DriveAddress& address, const char* payload) const {
  const Drive* const drive = find(address);
  if (drive == nullptr) return kUnknownDrive;
  if (!isPayload(payload)) return kPayloadRefused;
  if (drive->updateHangs) awaitRelease();
  std::this_thread::sleep_for(drive->updateTime);
  if (drive->criticalWarning != 0) return kInternalError;
  if (!isSuccess(drive->updateResult)) return drive->updateResult;
  try {
    keepFlashed(*drive);
  } catch (const std::runtime_error& error) {
    complain(kLibraryName, error.what());
    return kStateNotKept;
  }
  return drive->updateResult;
}

const Drive* SimulatedDrives::find(const DriveAddress& address) const {
  const auto drive = std::find_if(m_scenario.drives.begin(), m_scenario.drives.end(),
                                  [&](const Drive& each) { return each.record.address == address; });
  return drive == m_scenario.drives.end() || isGone(*drive) ? nullptr : &*drive;
}

bool SimulatedDrives::isGone(const Drive& drive) const {
  switch (drive.goneAfter) {
    case GoneAfter::kNothing:
      return false;
    case GoneAfter::kFlash:
      return m_state.wasFlashed(drive.record.address);
    case GoneAfter::kReset:
      return m_state.wasResetSince(drive.record.address);
  }
  return false;
}

Revision SimulatedDrives::runningRevision(const Drive& drive) const {
  return m_state.revision(drive.record.address).value_or(drive.revision);
}

void SimulatedDrives::keepFlashed(const Drive& drive) const {
  const bool changesAtReset = drive.activation != Activation::kFlash || drive.goneAfter == GoneAfter::kReset;
  if (!drive.newRevision && drive.goneAfter == GoneAfter::kNothing) return;
  const Revision old = runningRevision(drive);
  const Revision flashed = drive.newRevision.value_or(old);
  if (!changesAtReset) {
    m_state.keep(drive.record.address, flashed);
  } else {
    m_state.keepUntilReset(drive.record.address, drive.activation == Activation::kFlash ? flashed : old,
                           drive.activation == Activation::kNever ? old : flashed);
  }
}

void SimulatedDrives::awaitRelease() const {
  using namespace std::chrono;
  constexpr milliseconds kStep{10};
  // A test that dies must not leave a process behind for ever.
  const auto end = steady_clock::now() + kLongestUpdate;
  std::error_code error;
  while (!std::filesystem::exists(m_releaseFile, error) && steady_clock::now() < end)
    std::this_thread::sleep_for(kStep);
}

}  // namespace simulator
