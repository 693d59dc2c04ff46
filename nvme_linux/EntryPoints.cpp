// What the shared object exports. Nothing is thrown across it, and without the arguments nothing is done.

#include <syslog.h>

#include <cerrno>
#include <exception>
#include <new>

#include "DriveLibrary.h"
#include "LinuxHost.h"
#include "Logger.h"

namespace {
using namespace nvme_linux;

/// The base utilities inside this library have a logger of their own, which the package descriptor's reader
/// would start where a marker file asks for it, on the very file that the process's logger writes. A logger
/// that is on does not switch files: this one never gets there.
struct SSilencedLogger {
  SSilencedLogger() { CLogger::GetInstance()->Initialize("/dev/null"); }
};

template <class Operation>
int perform(Operation operation) noexcept {
  try {
    static const SSilencedLogger silencedLogger;
    static LinuxHost host;
    static DriveLibrary library(host);
    return operation(library);
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
