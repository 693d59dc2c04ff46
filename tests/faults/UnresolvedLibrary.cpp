// A drive library that needs a function that no library has.

extern "C" int nobodyHasThis();
extern "C" int NVMEDiscoverDrives();

int NVMEDiscoverDrives() {
  return nobodyHasThis();
}
