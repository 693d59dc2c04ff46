// A drive library that needs a function which nobody has.

extern "C" int nobodyHasThis();
extern "C" int NVMEDiscoverDrives();

int NVMEDiscoverDrives() {
  return nobodyHasThis();
}
