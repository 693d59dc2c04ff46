extern "C" {

int noSuchFunction();

int helpDriveLibrary() {
  return noSuchFunction();
}

}  // extern "C"
