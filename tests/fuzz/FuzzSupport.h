// What the fuzz targets share. A target is a function of one input that must return, leak nothing and keep
// every promise that it checks. libFuzzer calls it with inputs of its own making, ReplayMain.cpp with those
// of the repository.

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "Logger.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the process with a line that names the promise, as a sanitizer would; never returns.
[[noreturn]] void broken(const char* promise, const char* file, int line);

#define PROMISE(condition)                                          \
  do {                                                              \
    if (!(condition)) fuzz::broken(#condition, __FILE__, __LINE__); \
  } while (false)

/// A temporary folder of this process. The first call to `enter` makes it the working directory and silences
/// libxml2; the end of the process removes it.
class Scratch {
 public:
  static const Scratch& enter();

  void write(const char* name, std::span<const std::uint8_t> content) const;
  std::string read(const char* name) const;

 private:
  Scratch();
  ~Scratch();

  std::filesystem::path m_path;
};

/// Turns the process's debug log on (written to /dev/null) or off while it lives.
class LogSwitch {
 public:
  explicit LogSwitch(bool on);
  ~LogSwitch();
  LogSwitch(const LogSwitch&) = delete;
  LogSwitch& operator=(const LogSwitch&) = delete;

 private:
  CLogger* m_before;
};

/// Reads an input from front to back; beyond its end everything is zero or empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : m_rest(data, size) {}

  bool empty() const { return m_rest.empty(); }
  std::uint8_t byte();
  /// Up to `size` bytes.
  std::span<const std::uint8_t> take(std::size_t size);
  /// The text up to the next line feed, which is skipped.
  std::string line();
  std::span<const std::uint8_t> rest() const { return m_rest; }

 private:
  std::span<const std::uint8_t> m_rest;
};

/// Owns the pointers of a list, as the callers of the readers do.
template <class T>
class Owned {
 public:
  explicit Owned(std::vector<T*> list) : m_list(std::move(list)) {}
  ~Owned() {
    for (T* element : m_list) delete element;
  }
  Owned(const Owned&) = delete;
  Owned& operator=(const Owned&) = delete;

  std::vector<T*>& list() { return m_list; }

 private:
  std::vector<T*> m_list;
};

}  // namespace fuzz
