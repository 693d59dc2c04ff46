// A drive library in variants, each with one thing amiss, and the library that some of them need.

extern "C" {

int helpDriveLibrary();
int noSuchFunction();

#ifdef HELPER
int helpDriveLibrary() {
  return 0;
}
#elif defined(UNBOUND_HELPER)
int helpDriveLibrary() {
  return noSuchFunction();
}
#else
#ifdef DATA_DISCOVER
int NVMEDiscoverDrives = 0;
#else
int NVMEDiscoverDrives() {
#ifdef CALLS_HELPER
  return helpDriveLibrary();
#else
  return 0;
#endif
}
#endif

#ifndef WITHOUT_INFO
int NVMEGetDriveInfo() {
  return 0;
}
#endif

#ifdef DATA_UPDATE
int NVMEUpdateFirmware = 0;
#else
int NVMEUpdateFirmware() {
  return 0;
}
#endif
#endif

}  // extern "C"
