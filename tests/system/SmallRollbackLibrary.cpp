// A rollback library whose object is smaller than the room that callers reserve for it, as a platform's may
// be. It prints how often it was used.

#include <cstdio>
#include <string>

class __attribute__((visibility("default"))) UpdRollbackWrapper {
 public:
  UpdRollbackWrapper();
  virtual ~UpdRollbackWrapper();

  UpdRollbackWrapper(const UpdRollbackWrapper&) = delete;
  UpdRollbackWrapper& operator=(const UpdRollbackWrapper&) = delete;

  int addPayloadFiles(std::string path, bool flag);
  int updateFirmwarePartition();

 private:
  int m_calls;
};

UpdRollbackWrapper::UpdRollbackWrapper() : m_calls(0) {}

UpdRollbackWrapper::~UpdRollbackWrapper() {
  std::printf("destroyed after %d calls\n", m_calls);
}

int UpdRollbackWrapper::addPayloadFiles(std::string /*path*/, bool /*flag*/) {
  ++m_calls;
  return 0;
}

int UpdRollbackWrapper::updateFirmwarePartition() {
  ++m_calls;
  return 0;
}
