// Captures what is written to std::cout.

#pragma once

#include <iostream>
#include <sstream>
#include <string>

/// Redirects std::cout while it lives.
class OutputCapture {
 public:
  OutputCapture() : m_before(std::cout.rdbuf(m_text.rdbuf())) {}
  ~OutputCapture() { std::cout.rdbuf(m_before); }
  OutputCapture(const OutputCapture&) = delete;
  OutputCapture& operator=(const OutputCapture&) = delete;

  std::string text() const { return m_text.str(); }

 private:
  std::ostringstream m_text;
  std::streambuf* m_before;
};
