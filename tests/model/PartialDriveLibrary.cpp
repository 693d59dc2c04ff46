// A drive library that lacks the entry point for updates: the program must refuse all of it.

extern "C" int NVMEDiscoverDrives();
extern "C" int NVMEGetDriveInfo();

int NVMEDiscoverDrives() {
  return -1;
}

int NVMEGetDriveInfo() {
  return -1;
}
