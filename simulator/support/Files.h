// Reads files with clear errors, and replaces them whole or not at all.

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

/// The path in the environment variable; nothing if it is unset or empty. The result is absolute, because the
/// program that loads the stand-ins changes its working directory during a run.
std::optional<std::filesystem::path> pathFromEnvironment(const char* variable);

/// As above; `fallback`, a name in the working directory, replaces a variable that is unset or empty.
std::filesystem::path pathFromEnvironment(const char* variable, const char* fallback);

/// A regular file open for reading. Opening fails, and never blocks, for anything else: a missing or
/// unreadable file, a folder, a pipe, a device. Every failure throws std::system_error that names the file.
class RegularFile {
 public:
  explicit RegularFile(std::filesystem::path path);

  /// The next bytes of the file, up to `atMost`; empty at its end.
  std::string read(std::size_t atMost);

 private:
  std::filesystem::path m_path;
  Descriptor m_file;
};

/// All bytes of a regular file. Throws as RegularFile does.
std::string readWhole(const std::filesystem::path& path);

/// Replaces a file in one step. Bytes go to a temporary file in the target's folder; commit() renames it to
/// the target and synchronises both to the disk. Without commit() the target is never touched and the
/// temporary file is removed. Every failure throws std::system_error that names the target.
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

/// Copies a regular file to `target`. Whatever happens, `target` has either its old content or the whole
/// copy. Throws std::system_error that names the file at fault.
void copyWhole(const std::filesystem::path& source, const std::filesystem::path& target);

/// Appends a line for each call to the file that an environment variable names, for tests to read. Does
/// nothing if the variable is unset. A line that cannot be written is dropped: recording never changes what
/// the caller sees.
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
