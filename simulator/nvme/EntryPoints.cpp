// The three functions that libnvme.so exports. They throw nothing.

#include <cstdint>
#include <stdexcept>
#include <string>

#include "DriveTexts.h"
#include "Files.h"
#include "SimulatedDrives.h"

namespace {

using simulator::DriveAddress;
using simulator::DriveInformation;
using simulator::DriveRecord;
using simulator::SimulatedDrives;

/// The one library of this process. The first call that gets here reads the scenario; while that fails, so
/// does each further call.
SimulatedDrives& simulatedDrives() {
  static SimulatedDrives drives;
  return drives;
}

const simulator::CallsLog& callsLog() {
  static const simulator::CallsLog calls("NVME_SIMULATOR_CALLS");
  return calls;
}

template <class Operation>
std::int32_t perform(Operation operation) {
  try {
    return operation(simulatedDrives());
  } catch (const std::runtime_error& error) {
    simulator::complain(simulator::kLibraryName, error.what());
    return simulator::kScenarioRefused;
  }
}

/// Performs a call unless an argument is null, and records it: entry point, address, payload and result, with
/// tabs between them.
template <class Operation>
std::int32_t answer(const char* entryPoint, bool isComplete, const DriveAddress* address, const char* payload,
                    Operation operation) noexcept {
  try {
    const simulator::CallsLog& calls = callsLog();
    const std::int32_t result = isComplete ? perform(operation) : simulator::kNullArgument;
    std::string line = entryPoint;
    if (address != nullptr) line += '\t' + simulator::textOf(*address);
    if (payload != nullptr) line.append("\t").append(payload);
    calls.append(line + '\t' + std::to_string(result));
    return result;
  } catch (...) {
    return simulator::kInternalFailure;
  }
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

std::int32_t NVMEDiscoverDrives(std::uint32_t* count, DriveRecord*** list) noexcept {
  return answer("NVMEDiscoverDrives", count != nullptr && list != nullptr, nullptr, nullptr,
                [&](SimulatedDrives& library) { return library.discover(*count, *list); });
}

std::int32_t NVMEGetDriveInfo(const DriveAddress* address, DriveInformation* information) noexcept {
  return answer("NVMEGetDriveInfo", address != nullptr && information != nullptr, address, nullptr,
                [&](SimulatedDrives& library) { return library.information(*address, *information); });
}

std::int32_t NVMEUpdateFirmware(const DriveAddress* address, const char* payload) noexcept {
  return answer("NVMEUpdateFirmware", address != nullptr && payload != nullptr, address, payload,
                [&](SimulatedDrives& library) { return library.update(*address, payload); });
}

}  // extern "C"
#pragma GCC visibility pop
