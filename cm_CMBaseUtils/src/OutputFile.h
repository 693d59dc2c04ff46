// Where text goes: to files and to standard output, without a standard stream being set up at start. The
// first one of a process sets up all locales of the C++ library, at more cost than all else that a short run
// does itself.

#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

/// A file that is written, with the manners of a standard output file stream: nothing reports a failure, and
/// after one nothing more is taken.
class COutputFile {
 public:
  COutputFile() = default;
  /// Writes what is held back and closes the file.
  ~COutputFile();
  COutputFile(const COutputFile&) = delete;
  COutputFile& operator=(const COutputFile&) = delete;

  /// Opens the file at `path` for writing; an existing one is emptied. A file that is open already stays, and
  /// takes nothing more. Throws `std::bad_alloc` when memory for the buffer runs out.
  void open(const std::string& path);

  /// True from the first `open` on that found its file.
  bool isOpen() const { return m_descriptor >= 0; }

  /// Takes `text`, and holds it back while it is short and the buffer has room.
  void write(std::string_view text);

  /// Writes what is held back.
  void flush();

  /// Goes to the file's end, behind what others have added. A file that has no end, such as a pipe, takes
  /// nothing more.
  void seekEnd();

  /// Takes nothing more.
  void spoil() { m_takesText = false; }

 private:
  void writeOut(std::string_view text);

  int m_descriptor = -1;
  bool m_takesText = false;
  std::unique_ptr<char[]>
      m_buffer;  ///< there while text is taken; the first `m_used` characters are held back
  std::size_t m_used = 0;
};

/// The stream `std::cout`, ready for use.
std::ostream& standardOutput();
