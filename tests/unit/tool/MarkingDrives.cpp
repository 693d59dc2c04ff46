// A drive library that leaves a file in the working directory for each way in which its code has run, and the
// auditor that it names, which the loader runs for it.

#include <fcntl.h>
#include <unistd.h>

namespace {

void mark(const char* name) {
  const int file = creat(name, 0600);
  if (file >= 0) close(file);
}

}  // namespace

#ifdef AUDITOR

extern "C" unsigned int la_version(unsigned int version) {
  mark("ran-auditor");
  return version;
}

#else

namespace {

[[gnu::constructor]] void construct() {
  mark("ran-constructor");
}

int plain() {
  return 0;
}

}  // namespace

extern "C" {

/// Chooses the function that `indirect` stands for; called while the library is bound.
[[gnu::visibility("hidden")]] int (*chooseFunction())() {
  mark("ran-indirect-function");
  return plain;
}
[[gnu::ifunc("chooseFunction"), gnu::visibility("hidden")]] int indirect();

int NVMEDiscoverDrives() {
  return indirect();
}
int NVMEGetDriveInfo() {
  return 0;
}
int NVMEUpdateFirmware() {
  return 0;
}

}  // extern "C"

#endif
