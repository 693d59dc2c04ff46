// A drive library in variants, each with one thing amiss.

extern "C" {

int helpDriveLibrary();

int NVMEDiscoverDrives() {
#ifdef CALLS_HELPER
  return helpDriveLibrary();
#else
  return 0;
#endif
}

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

}  // extern "C"
