// Files as the stand-ins need them: read with clear errors, replaced whole or not at all.

#pragma once

#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace simulator {

/// Owns an open file descriptor.
class Descriptor {
 public:
  explicit Descriptor(int fd) : m_fd(fd) {}
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int get() const { return m_fd; }

 private:
  int m_fd;  // negative where the opening failed
};

/// The path that the environment variable holds; nothing where it is unset or empty. It comes back absolute:
/// the program that loads the stand-ins changes its working directory under way.
std::optional<std::filesystem::path> pathFromEnvironment(const char* variable);

/// Likewise, with `fallback`, a name in the working directory, where the variable holds nothing.
std::filesystem::path pathFromEnvironment(const char* variable, const char* fallback);

/// A regular file open for reading. Opening anything else fails, be it missing, unreadable, a folder, a pipe
/// or a device, and none of them is waited for. Every failure throws std::system_error that names the file.
class RegularFile {
 public:
  explicit RegularFile(std::filesystem::path path);

  /// The next bytes of the file, `atMost` of them; empty at its end.
  std::string read(std::size_t atMost);

 private:
  std::filesystem::path m_path;
  Descriptor m_file;
};

/// All bytes of a regular file. Throws as RegularFile does.
std::string readWhole(const std::filesystem::path& path);

/// A file in the making. Its bytes go to a temporary file in the target's folder; commit() makes it the
/// target in one step and puts it on the disk. Without commit() the target is never touched and the temporary
/// file is removed. Every failure throws std::system_error that names the target.
class WholeFile {
 public:
  explicit WholeFile(std::filesystem::path target);
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  void write(std::string_view bytes);
  void commit();

 private:
  std::filesystem::path m_target;
  std::string m_temporary;  // empty once it has become the target
  Descriptor m_file;
};

/// Copies a regular file to `target`, which holds the old file or the whole copy, and nothing between,
/// whatever happens. Throws std::system_error that names the file at fault.
void copyWhole(const std::filesystem::path& source, const std::filesystem::path& target);

/// Appends one line a call to the file that an environment variable names, so that a test can tell what was
/// asked. Does nothing while the variable is unset, and a line that cannot be written is dropped: recording
/// never changes what the caller sees.
class CallsLog {
 public:
  explicit CallsLog(const char* variable) : m_path(pathFromEnvironment(variable)) {}
  void append(std::string line) const;

 private:
  std::optional<std::filesystem::path> m_path;
};

/// Writes "`who`: `what`" and a line break to standard error. Standard output belongs to the program.
void complain(const std::string& who, const std::string& what);

}  // namespace simulator
