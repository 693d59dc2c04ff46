#include "Files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace simulator {

namespace {

constexpr std::size_t kChunkBytes = 65536;

/// Throws `errno` with the file's name unless the system call succeeded.
void require(bool succeeded, const std::filesystem::path& path) {
  if (!succeeded) throw std::system_error(errno, std::generic_category(), path.string());
}

bool writeAll(int file, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = ::write(file, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

Descriptor::~Descriptor() {
  if (m_fd >= 0) ::close(m_fd);
}

std::optional<std::filesystem::path> pathFromEnvironment(const char* variable) {
  const char* const value = std::getenv(variable);
  if (value == nullptr || *value == '\0') return std::nullopt;
  return std::filesystem::absolute(value);
}

std::filesystem::path pathFromEnvironment(const char* variable, const char* fallback) {
  const auto path = pathFromEnvironment(variable);
  return path ? *path : std::filesystem::absolute(fallback);
}

RegularFile::RegularFile(std::filesystem::path path)
    // Opening a pipe without a writer would wait for one; O_NONBLOCK does not.
    : m_path(std::move(path)), m_file(::open(m_path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC)) {
  struct stat status = {};
  require(m_file.get() >= 0 && ::fstat(m_file.get(), &status) == 0, m_path);
  // What `require` throws for anything but a regular file.
  errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
  require(S_ISREG(status.st_mode), m_path);
}

std::string RegularFile::read(std::size_t atMost) {
  std::string bytes(atMost, '\0');
  ssize_t count = 0;
  do {
    count = ::read(m_file.get(), bytes.data(), atMost);
  } while (count < 0 && errno == EINTR);
  require(count >= 0, m_path);
  bytes.resize(static_cast<std::size_t>(count));
  return bytes;
}

std::string readWhole(const std::filesystem::path& path) {
  RegularFile file(path);
  std::string bytes;
  for (std::string chunk; !(chunk = file.read(kChunkBytes)).empty();) bytes += chunk;
  return bytes;
}

WholeFile::WholeFile(std::filesystem::path target)
    : m_target(std::move(target)),
      m_temporary(m_target.parent_path() / ".incoming.XXXXXX"),
      m_file(::mkostemp(m_temporary.data(), O_CLOEXEC)) {
  require(m_file.get() >= 0, m_target);
}

WholeFile::~WholeFile() {
  if (!m_temporary.empty()) ::unlink(m_temporary.c_str());
}

void WholeFile::write(std::string_view bytes) {
  require(writeAll(m_file.get(), bytes), m_target);
}

void WholeFile::commit() {
  constexpr mode_t kReadableByAll = 0644;
  require(::fchmod(m_file.get(), kReadableByAll) == 0, m_target);
  // Otherwise a power cut could leave the new name on an empty file.
  require(::fsync(m_file.get()) == 0, m_target);
  // Opened before the rename, so that a failure leaves the old file.
  const Descriptor folder(::open(m_target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  require(folder.get() >= 0, m_target);
  require(::rename(m_temporary.c_str(), m_target.c_str()) == 0, m_target);
  m_temporary.clear();
  // The new name survives a power cut only once the folder is on the disk.
  require(::fsync(folder.get()) == 0, m_target);
}

void copyWhole(const std::filesystem::path& source, const std::filesystem::path& target) {
  RegularFile from(source);
  WholeFile to(target);
  for (std::string chunk; !(chunk = from.read(kChunkBytes)).empty();) to.write(chunk);
  to.commit();
}

void CallsLog::append(std::string line) const {
  if (!m_path) return;
  const Descriptor file(::open(m_path->c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  // One write in append mode: the lines of several processes do not mix. A record that cannot be kept is not
  // worth a failed call.
  if (file.get() >= 0) writeAll(file.get(), line += '\n');
}

void complain(const std::string& who, const std::string& what) {
  writeAll(STDERR_FILENO, who + ": " + what + "\n");
}

}  // namespace simulator
