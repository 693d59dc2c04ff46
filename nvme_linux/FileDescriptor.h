#pragma once

#include <unistd.h>

#include <utility>

namespace nvme_linux {

/// Sole owner of an open file descriptor, or of none. Closing is the destructor's alone.
class FileDescriptor {
 public:
  /// Takes what open(2) returned; a negative number is no descriptor.
  explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  ~FileDescriptor() {
    if (isOpen()) close(m_descriptor);
  }

  bool isOpen() const { return m_descriptor >= 0; }

  /// For system calls; stays this object's.
  int get() const { return m_descriptor; }

 private:
  int m_descriptor;
};

}  // namespace nvme_linux
