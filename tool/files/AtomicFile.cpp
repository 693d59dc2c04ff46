#include "AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <string>
#include <system_error>
#include <utility>

namespace tool {

namespace {

[[noreturn]] void throwErrno() {
  throw std::system_error(errno, std::generic_category());
}

/// Hidden, and of this process.
std::filesystem::path temporaryName(const std::filesystem::path& target) {
  std::string name = ".";
  name += target.filename().string();
  name += ".";
  name += std::to_string(getpid());
  name += ".new";
  return target.parent_path() / name;
}

/// A new name survives a power cut only once its folder is on the disk.
void syncFolder(const std::filesystem::path& folder) {
  const int descriptor = open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  // A folder that may be written but not read cannot be synchronised. The file is in place all the same.
  if (descriptor < 0) return;
  static_cast<void>(fsync(descriptor));
  close(descriptor);
}

/// Replaces what a process of this number has left that died before.
int openNew(const std::filesystem::path& path) {
  const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
  const int descriptor = open(path.c_str(), flags, 0666);
  if (descriptor >= 0 || errno != EEXIST || unlink(path.c_str()) != 0) return descriptor;
  return open(path.c_str(), flags, 0666);
}

/// A new file in the folder of another one, which goes unless it is moved there.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::filesystem::path& target)
      : m_path(temporaryName(target)), m_descriptor(openNew(m_path)) {
    if (m_descriptor < 0) throwErrno();
  }
  ~TemporaryFile() {
    if (m_descriptor >= 0) close(m_descriptor);
    if (!m_isMoved) unlink(m_path.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  void setMode(mode_t mode) const {
    if (fchmod(m_descriptor, mode) != 0) throwErrno();
  }

  void write(std::string_view content) {
    while (!content.empty()) {
      const ssize_t count = ::write(m_descriptor, content.data(), content.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) throwErrno();
      content.remove_prefix(static_cast<std::size_t>(count));
    }
    if (fsync(m_descriptor) != 0) throwErrno();
    if (close(std::exchange(m_descriptor, -1)) != 0) throwErrno();
  }

  void moveTo(const std::filesystem::path& target, Existing existing) {
    const unsigned int flags = existing == Existing::kKeep ? RENAME_NOREPLACE : 0U;
    if (renameat2(AT_FDCWD, m_path.c_str(), AT_FDCWD, target.c_str(), flags) != 0) throwErrno();
    m_isMoved = true;
    syncFolder(target.parent_path());
  }

 private:
  std::filesystem::path m_path;
  int m_descriptor;
  bool m_isMoved = false;
};

}  // namespace

void writeAtomically(const std::filesystem::path& path, std::string_view content, Existing existing) {
  const std::filesystem::path target = std::filesystem::weakly_canonical(path);
  TemporaryFile file(target);
  struct stat status {};
  if (existing == Existing::kReplace && stat(target.c_str(), &status) == 0)
    file.setMode(status.st_mode & 0777U);
  file.write(content);
  file.moveTo(target, existing);
}

std::string replaceOwnFile(const std::filesystem::path& path, std::string_view content,
                           std::string_view start) {
  namespace fs = std::filesystem;
  try {
    const fs::file_status status = fs::status(path);
    const bool isThere = fs::exists(status);
    if (isThere) {
      if (!fs::is_regular_file(status)) return "is no regular file; -o - writes to standard output";
      std::string found(start.size(), '\0');
      std::ifstream(path, std::ios::binary).read(found.data(), static_cast<std::streamsize>(found.size()));
      if (found != start) return "exists and was not written by this program";
    }
    writeAtomically(path, content, isThere ? Existing::kReplace : Existing::kKeep);
    return {};
  } catch (const std::system_error& error) {
    return error.code().message();
  }
}

}  // namespace tool
