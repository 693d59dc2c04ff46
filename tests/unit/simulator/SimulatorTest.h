// What the simulator's tests share: JSON files that are refused, and an environment variable for one test.

#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <exception>
#include <string>
#include <utility>

#include "TestSupport.h"

/// The message of what `action` throws; empty when it throws nothing.
template <class Action>
std::string messageOf(Action action) {
  try {
    action();
  } catch (const std::exception& error) {
    return error.what();
  }
  return "";
}

/// An environment variable that goes with the object. The stand-ins read theirs when they are first used.
class Environment {
 public:
  Environment(std::string name, const std::string& value) : m_name(std::move(name)) {
    setenv(m_name.c_str(), value.c_str(), 1);
  }
  ~Environment() { unsetenv(m_name.c_str()); }
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

 private:
  std::string m_name;
};
