#include "OutputFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ostream>

// The declaration of <iostream>, without the set-up at start that comes with that header.
namespace std {       // NOLINT(cert-dcl58-cpp)
extern ostream cout;  // NOLINT(readability-redundant-declaration)
}  // namespace std

namespace {

/// A text of this size or more is not held back.
constexpr std::size_t kLongText = 1024;

}  // namespace

std::ostream& standardOutput() {
  [[maybe_unused]] static const std::ios_base::Init setUp;  // its end, at exit, flushes the stream
  return std::cout;
}

COutputFile::~COutputFile() {
  flush();
  if (isOpen()) close(m_descriptor);
}

void COutputFile::open(const std::string& path) {
  m_takesText = false;
  if (isOpen()) return;
  m_descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (!isOpen()) return;
  m_buffer = std::make_unique_for_overwrite<char[]>(BUFSIZ);
  m_takesText = true;
}

void COutputFile::write(std::string_view text) {
  if (!m_takesText) return;
  if (text.size() < std::min(kLongText, BUFSIZ - m_used)) {
    m_used += text.copy(m_buffer.get() + m_used, text.size());
    return;
  }
  flush();
  if (m_takesText) writeOut(text);
}

void COutputFile::flush() {
  writeOut({m_buffer.get(), m_used});
  m_used = 0;
}

void COutputFile::seekEnd() {
  if (lseek(m_descriptor, 0, SEEK_END) == -1) spoil();
}

void COutputFile::writeOut(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(m_descriptor, text.data(), text.size());
    if (written >= 0) {
      text.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno != EINTR) {
      return spoil();
    }
  }
}
