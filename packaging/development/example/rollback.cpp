// A rollback library that copies the payload into the folder "rollback" of the working directory.

#include <filesystem>
#include <string>
#include <system_error>

#include "UpdRollbackWrapper.h"

namespace {

// The object's own room is behind the table pointer, where the declaration has reserved it; here a global
// will do, since there is one object at a time.
std::string thePayload;

}  // namespace

UpdRollbackWrapper::UpdRollbackWrapper() : m_reserved{} {}

UpdRollbackWrapper::~UpdRollbackWrapper() noexcept(false) {
  thePayload.clear();
}

int UpdRollbackWrapper::addPayloadFiles(std::string path, bool) {
  thePayload = path;
  return std::filesystem::is_regular_file(path) ? 0 : 1;
}

int UpdRollbackWrapper::updateFirmwarePartition() {
  std::error_code error;
  std::filesystem::create_directory("rollback", error);
  std::filesystem::copy(thePayload, "rollback", std::filesystem::copy_options::overwrite_existing, error);
  return error ? 2 : 0;
}
