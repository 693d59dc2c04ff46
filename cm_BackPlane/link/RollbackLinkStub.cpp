// Stands in for the platform's librbkl.so.0 at link time, where neither the platform's library nor the
// simulator's is at hand. It has the symbols that the component imports and does no work: it is neither
// installed nor found by a run, and a call ends the process.

#include <cstdlib>

#include "UpdRollbackWrapper.h"

UpdRollbackWrapper::UpdRollbackWrapper() : m_reserved{} {
  std::abort();
}
UpdRollbackWrapper::~UpdRollbackWrapper() noexcept(false) {
  std::abort();
}
int UpdRollbackWrapper::addPayloadFiles(std::string, bool) {
  std::abort();
}
int UpdRollbackWrapper::updateFirmwarePartition() {
  std::abort();
}
