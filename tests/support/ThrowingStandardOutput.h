// A standard output that fails by exception.

#pragma once

#include <iostream>
#include <streambuf>
#include <utility>

/// While it lives, every write to standard output throws a copy of `thrown`.
template <class Thrown>
class ThrowingStandardOutput : std::streambuf {
 public:
  explicit ThrowingStandardOutput(Thrown thrown)
      : m_thrown(std::move(thrown)), m_before(std::cout.rdbuf(this)), m_exceptions(std::cout.exceptions()) {
    std::cout.exceptions(std::ios::badbit);
  }
  ~ThrowingStandardOutput() override {
    std::cout.exceptions(m_exceptions);
    std::cout.rdbuf(m_before);
    std::cout.clear();
  }

 private:
  std::streamsize xsputn(const char*, std::streamsize) override { throw m_thrown; }
  int_type overflow(int_type) override { throw m_thrown; }

  Thrown m_thrown;
  std::streambuf* m_before;
  std::ios::iostate m_exceptions;
};
