// The rollback class, scripted by the test.

#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

/// Scripts the operations of the rollback class while it lives. An operation without a script succeeds, and
/// so do all of them without an object. There is one at a time.
class ScriptedRollback {
 public:
  ScriptedRollback();
  ~ScriptedRollback();
  ScriptedRollback(const ScriptedRollback&) = delete;
  ScriptedRollback& operator=(const ScriptedRollback&) = delete;

  using Operation = std::function<int()>;
  Operation constructor;  ///< its result counts for nothing, as the destructor's
  Operation add;
  Operation update;
  Operation destructor;

  /// "construct", "add " with the path and the flag, "update", "destroy", in order.
  std::vector<std::string> calls;
};

/// An operation that returns `status`.
inline ScriptedRollback::Operation returning(int status) {
  return [status] { return status; };
}

/// An operation that throws a copy of `value`.
template <class Value>
ScriptedRollback::Operation throwing(Value value) {
  return [value = std::move(value)]() -> int { throw value; };
}
