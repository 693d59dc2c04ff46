// A drive library that lacks entry points. The program uses all of them or none, so the others must never be
// called: each of them ends the process.

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
