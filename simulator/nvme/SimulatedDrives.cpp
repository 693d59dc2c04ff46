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
    : m_scenario(readDriveScenario(pathFromEnvironment("NVME_SIMULATOR_SCENARIO", "scenario.json"))),
      m_state(pathFromEnvironment("NVME_SIMULATOR_STATE", "nvme-state.json")) {
  for (const Drive& drive : m_scenario.drives) {
    m_records.push_back(drive.isListed ? std::make_unique<DriveRecord>(drive.record) : nullptr);
    m_list.push_back(m_records.back().get());
  }
}

std::int32_t SimulatedDrives::discover(std::uint32_t& count, DriveRecord**& list) {
  if (m_scenario.discoveryResult != kDone) return m_scenario.discoveryResult;
  count = m_scenario.list == ListShape::kUncounted ? 0 : static_cast<std::uint32_t>(m_list.size());
  if (m_scenario.list == ListShape::kNull) {
    list = nullptr;
  } else if (m_scenario.list != ListShape::kUntouched) {
    list = m_list.data();
  }
  return kDone;
}

std::int32_t SimulatedDrives::information(const DriveAddress& address, DriveInformation& information) const {
  const Drive* const drive = find(address);
  if (drive == nullptr) return kUnknownDrive;
  if (drive->revisionResult != kDone) return drive->revisionResult;
  information.revision = m_state.revision(address).value_or(drive->revision);
  // Not zero, so that a test notices a caller that reads beyond the revision.
  information.unused.fill(0xA5);
  return kDone;
}

std::int32_t SimulatedDrives::update(const DriveAddress& address, const char* payload) const {
  const Drive* const drive = find(address);
  if (drive == nullptr) return kUnknownDrive;
  if (!isPayload(payload)) return kPayloadRefused;
  std::this_thread::sleep_for(drive->updateTime);
  if (!isSuccess(drive->updateResult) || !drive->newRevision) return drive->updateResult;
  try {
    m_state.keep(address, *drive->newRevision);
  } catch (const std::runtime_error& error) {
    complain(kLibraryName, error.what());
    return kStateNotKept;
  }
  return drive->updateResult;
}

const Drive* SimulatedDrives::find(const DriveAddress& address) const {
  const auto drive = std::find_if(m_scenario.drives.begin(), m_scenario.drives.end(),
                                  [&](const Drive& each) { return each.record.address == address; });
  return drive == m_scenario.drives.end() ? nullptr : &*drive;
}

}  // namespace simulator
