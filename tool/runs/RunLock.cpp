#include "RunLock.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>

namespace fs = std::filesystem;

namespace tool {

namespace {

struct flock wholeFile() {
  struct flock range {};
  range.l_type = F_WRLCK;
  range.l_whence = SEEK_SET;
  return range;
}

constexpr char kRunLock[] = "run.lock";
constexpr char kComponentLock[] = "component.lock";
constexpr char kNextLock[] = "next.lock";

nvme_linux::FileDescriptor openLock(const char* name) {
  const fs::path path = lockFolder() / name;
  nvme_linux::FileDescriptor file(
      open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (!file.isOpen()) throw std::system_error(errno, std::generic_category(), path.string());
  return file;
}

/// Nothing while another process has the lock.
std::optional<nvme_linux::FileDescriptor> lockUnlessHeld(const char* name) {
  nvme_linux::FileDescriptor file = openLock(name);
  struct flock range = wholeFile();
  if (fcntl(file.get(), F_OFD_SETLK, &range) == 0) return file;
  if (errno == EAGAIN || errno == EACCES) return std::nullopt;
  throw std::system_error(errno, std::generic_category(), (lockFolder() / name).string());
}

/// Where lockFolder is to be.
fs::path placeOfLocks() {
  if (geteuid() == 0) return "/run/nvmepcissd";
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && *runtime == '/') return fs::path(runtime) / "nvmepcissd";
  const std::string user = std::to_string(geteuid());
  const fs::path usual = fs::path("/run/user") / user;
  if (access(usual.c_str(), W_OK) == 0) return usual / "nvmepcissd";
  return fs::temp_directory_path() / ("nvmepcissd-" + user);
}

/// Changes nothing, so that it also works where /run cannot be written to.
bool isLocked(const char* name) {
  const fs::path path = placeOfLocks() / name;
  const nvme_linux::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
  if (!file.isOpen() && errno == ENOENT) return false;
  struct flock range = wholeFile();
  if (!file.isOpen() || fcntl(file.get(), F_OFD_GETLK, &range) != 0)
    throw std::system_error(errno, std::generic_category(), path.string());
  return range.l_type != F_UNLCK;
}

}  // namespace

fs::path lockFolder() {
  fs::path folder = placeOfLocks();
  if (mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
    throw std::system_error(errno, std::generic_category(), folder.string());
  struct stat status {};
  if (lstat(folder.c_str(), &status) != 0)
    throw std::system_error(errno, std::generic_category(), folder.string());
  if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid())
    throw std::runtime_error(folder.string() + ": is not a folder of this user");
  return folder;
}

std::optional<RunLock> RunLock::tryAcquire() {
  auto file = lockUnlessHeld(kRunLock);
  if (!file || isComponentRunning() || isLocked(kNextLock)) return std::nullopt;
  return RunLock(*std::move(file));
}

std::optional<RunLock> RunLock::takeOver(std::chrono::seconds atMost) {
  constexpr std::chrono::milliseconds kStep{20};
  const auto end = std::chrono::steady_clock::now() + atMost;
  std::optional<nvme_linux::FileDescriptor> next;
  while (std::chrono::steady_clock::now() < end) {
    if (!next) {
      if (auto file = lockUnlessHeld(kNextLock)) next.emplace(*std::move(file));
    }
    if (next) {
      auto file = lockUnlessHeld(kRunLock);
      if (file && !isComponentRunning()) return RunLock(*std::move(file));
    }
    std::this_thread::sleep_for(kStep);
  }
  return std::nullopt;
}

std::optional<RunLock> RunLock::acquireSoon() {
  constexpr int kTries = 10;
  constexpr std::chrono::milliseconds kPause{20};
  for (int i = 1; i < kTries; ++i) {
    if (auto lock = tryAcquire()) return lock;
    std::this_thread::sleep_for(kPause);
  }
  return tryAcquire();
}

bool isHeirThere(std::chrono::seconds atMost) {
  constexpr std::chrono::milliseconds kStep{10};
  const auto end = std::chrono::steady_clock::now() + atMost;
  while (!isLocked(kNextLock)) {
    if (std::chrono::steady_clock::now() >= end) return false;
    std::this_thread::sleep_for(kStep);
  }
  return true;
}

bool isRunInProgress() {
  return isLocked(kRunLock) || isLocked(kNextLock) || isLocked(kComponentLock);
}

bool isComponentRunning() {
  return isLocked(kComponentLock);
}

nvme_linux::FileDescriptor openComponentLock() {
  return openLock(kComponentLock);
}

bool lockComponent(int file) {
  struct flock range = wholeFile();
  return fcntl(file, F_SETLK, &range) == 0;
}

}  // namespace tool
