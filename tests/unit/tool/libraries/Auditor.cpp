// What the loader runs for a program that names it as its auditor; leaves a file in the working directory.

#include <fcntl.h>
#include <unistd.h>

extern "C" unsigned int la_version(unsigned int version) {
  const int file = creat("ran-auditor", 0600);
  if (file >= 0) close(file);
  return version;
}
