// What the shared object exports. Nothing is thrown across it, and without the arguments nothing is done.

#include <syslog.h>

#include <cerrno>
#include <exception>
#include <new>

#include "DriveLibrary.h"
#include "LinuxHost.h"

namespace {
using namespace nvme_linux;

/// Runs an operation of the one library that lives as long as the process, and turns its outcome into the
/// number that callers are given.
template <class Operation>
int perform(Operation operation) noexcept {
  try {
    static LinuxHost host;
    static DriveLibrary library(host);
    return operation(library).code();
  } catch (const std::bad_alloc&) {
    return -ENOMEM;
  } catch (const std::exception& error) {
    syslog(LOG_USER | LOG_ERR, "NVMe drive library: %s", error.what());
    return -EIO;
  }
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] int NVMEDiscoverDrives(std::uint32_t* count, NVMeDriveRecord*** drives) {
  if (count == nullptr || drives == nullptr) return -EINVAL;
  return perform([&](DriveLibrary& library) { return library.discover(*count, *drives); });
}

[[gnu::visibility("default")]] int NVMEGetDriveInfo(_NVME_ZOLT_BDF* address, NVMeDriveInfo* info) {
  if (address == nullptr || info == nullptr) return -EINVAL;
  return perform([&](DriveLibrary& library) { return library.driveInfo(*address, *info); });
}

[[gnu::visibility("default")]] int NVMEUpdateFirmware(_NVME_ZOLT_BDF* address, const char* payloadPath) {
  if (address == nullptr || payloadPath == nullptr) return -EINVAL;
  return perform([&](DriveLibrary& library) { return library.updateFirmware(*address, payloadPath); });
}

}  // extern "C"
