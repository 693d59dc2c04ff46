// A drive library with one or more of its entry points left out. The program takes all or none of them, so
// the others are never called: each of them ends the process.

#include <cstdlib>

extern "C" {

#ifndef WITHOUT_DISCOVER
[[noreturn]] void NVMEDiscoverDrives();
void NVMEDiscoverDrives() {
  std::abort();
}
#endif

#ifndef WITHOUT_INFO
[[noreturn]] void NVMEGetDriveInfo();
void NVMEGetDriveInfo() {
  std::abort();
}
#endif

#ifndef WITHOUT_UPDATE
[[noreturn]] void NVMEUpdateFirmware();
void NVMEUpdateFirmware() {
  std::abort();
}
#endif

}  // extern "C"
