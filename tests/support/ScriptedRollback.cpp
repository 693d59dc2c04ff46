#include "ScriptedRollback.h"

#include "UpdRollbackWrapper.h"

namespace {

ScriptedRollback* g_script = nullptr;

int act(ScriptedRollback::Operation ScriptedRollback::*operation, const std::string& call) {
  if (g_script == nullptr) return 0;
  g_script->calls.push_back(call);
  const ScriptedRollback::Operation& script = g_script->*operation;
  return script ? script() : 0;
}

}  // namespace

ScriptedRollback::ScriptedRollback() {
  g_script = this;
}

ScriptedRollback::~ScriptedRollback() {
  g_script = nullptr;
}

UpdRollbackWrapper::UpdRollbackWrapper() {
  m_reserved.fill(0xEE);  // as a library may whose object is as large
  act(&ScriptedRollback::constructor, "construct");
}

UpdRollbackWrapper::~UpdRollbackWrapper() noexcept(false) {
  act(&ScriptedRollback::destructor, "destroy");
}

int UpdRollbackWrapper::addPayloadFiles(std::string path, bool flag) {
  return act(&ScriptedRollback::add, "add " + path + (flag ? " true" : " false"));
}

int UpdRollbackWrapper::updateFirmwarePartition() {
  return act(&ScriptedRollback::update, "update");
}
