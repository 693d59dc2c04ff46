extern "C" int helpDriveLibrary() {
  return 0;
}
