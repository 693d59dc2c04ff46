// Where documents and the usage text go, without a standard stream being set up unless it is used. The first
// standard stream of a process, of whatever kind, initialises all locales of the C++ library: 700 KiB more
// memory for a run whose output goes to a file, an eighth of what it needs (docs/performance.md).

#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

namespace output {

/// An output file that fails silently, like `std::ofstream`: after the first error, writes are ignored.
class File {
 public:
  File() = default;
  /// Writes what is buffered and closes the file.
  ~File();
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  /// Opens the file at `path` for writing and empties it. A failed open is not reported, except by `isOpen`.
  /// A second call does not switch files: it makes the open one ignore what follows. Throws `std::bad_alloc`
  /// when there is no memory for the buffer.
  void open(const std::string& path);

  /// True from the first `open` on that succeeded.
  bool isOpen() const { return m_descriptor >= 0; }

  /// Buffers a short text and writes a long one.
  void write(std::string_view text);

 private:
  void flush();
  void writeOut(std::string_view text);

  int m_descriptor = -1;
  bool m_failed = false;
  std::unique_ptr<char[]> m_buffer;  ///< null until the file is open; the first `m_used` characters are text
  std::size_t m_used = 0;
};

/// The stream `std::cout`, initialised by the first call. Its text is flushed at exit.
std::ostream& standard();

}  // namespace output
