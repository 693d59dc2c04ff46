#include "OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ostream>

// <iostream> declares the stream too, but its inclusion alone initialises the streams when the program
// starts.
namespace std {       // NOLINT(cert-dcl58-cpp)
extern ostream cout;  // NOLINT(readability-redundant-declaration)
}  // namespace std

namespace output {

namespace {

/// A text of this size or more is not worth copying into the buffer.
constexpr std::size_t kLongText = 1024;

}  // namespace

std::ostream& standard() {
  [[maybe_unused]] static const std::ios_base::Init
      initialised;  // its destructor, at exit, flushes the stream
  return std::cout;
}

File::~File() {
  flush();
  if (isOpen()) close(m_descriptor);
}

void File::open(const std::string& path) {
  if (isOpen()) {
    m_failed = true;
    return;
  }
  m_descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (isOpen()) m_buffer = std::make_unique_for_overwrite<char[]>(BUFSIZ);
}

void File::write(std::string_view text) {
  if (m_failed || m_buffer == nullptr) return;
  if (text.size() < std::min(kLongText, BUFSIZ - m_used)) {
    m_used += text.copy(m_buffer.get() + m_used, text.size());
    return;
  }
  flush();
  if (!m_failed) writeOut(text);
}

void File::flush() {
  // A second `open` makes the file ignore later writes, not those before: they are still written.
  writeOut({m_buffer.get(), m_used});
  m_used = 0;
}

void File::writeOut(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(m_descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      m_failed = true;
      return;
    }
  }
}

}  // namespace output
