// Preloaded: counts what the program does to files, and
//   FAULT_KILL=n   kills it just before the n-th time
//   FAULT_ROOM=n   lets only n bytes into regular files, as a disk that fills up does
//   FAULT_PROC=1   lets it read no link, as without /proc
//   FAULT_COUNT    names a file that gets the number of times at the program's end
// Commands that the program runs are left alone.

#include <dlfcn.h>
#include <errno.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

bool isProgram() {
  return std::strcmp(program_invocation_short_name, "nvmepcissd") == 0;
}

long number(const char* variable, long otherwise) {
  const char* const text = std::getenv(variable);
  return text == nullptr || !isProgram() ? otherwise : std::strtol(text, nullptr, 10);
}

struct Files {
  long killing = number("FAULT_KILL", 0);
  long room = number("FAULT_ROOM", -1);
  long count = 0;

  ~Files() {
    const char* const path = std::getenv("FAULT_COUNT");
    if (path == nullptr || !isProgram()) return;
    if (std::FILE* const file = std::fopen(path, "w")) {
      static_cast<void>(std::fprintf(file, "%ld\n", count));
      static_cast<void>(std::fclose(file));
    }
  }
};

Files& files() {
  static Files instance;
  return instance;
}

void touch() {
  if (++files().count == files().killing) kill(getpid(), SIGKILL);
}

bool isRegular(int file) {
  struct stat status = {};
  return fstat(file, &status) == 0 && S_ISREG(status.st_mode);
}

/// How many of `size` bytes still fit; -1, with `errno` set, if none does.
ssize_t admitted(int file, std::size_t size) {
  if (files().room < 0 || !isRegular(file)) return static_cast<ssize_t>(size);
  if (files().room == 0 && size > 0) {
    errno = ENOSPC;
    return -1;
  }
  const long taken = static_cast<long>(size) < files().room ? static_cast<long>(size) : files().room;
  files().room -= taken;
  return taken;
}

}  // namespace

extern "C" {

ssize_t write(int file, const void* bytes, size_t size) {
  touch();
  const ssize_t taken = admitted(file, size);
  return taken < 0
             ? taken
             : next<ssize_t(int, const void*, size_t)>("write")(file, bytes, static_cast<size_t>(taken));
}

ssize_t writev(int file, const iovec* pieces, int count) {
  for (int i = 0; i < count; ++i) {
    if (pieces[i].iov_len > 0) return write(file, pieces[i].iov_base, pieces[i].iov_len);
  }
  return 0;
}

int rename(const char* from, const char* to) {
  touch();
  return next<int(const char*, const char*)>("rename")(from, to);
}

int fsync(int file) {
  touch();
  return next<int(int)>("fsync")(file);
}

int mkostemp(char* name, int flags) {
  touch();
  return next<int(char*, int)>("mkostemp")(name, flags);
}

int system(const char* command) {
  touch();
  return next<int(const char*)>("system")(command);
}

void* dlopen(const char* name, int flags) {
  touch();
  return next<void*(const char*, int)>("dlopen")(name, flags);
}

ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
  if (number("FAULT_PROC", 0) == 0)
    return next<ssize_t(const char*, char*, size_t)>("readlink")(path, buffer, size);
  errno = ENOENT;
  return -1;
}

int chdir(const char* path) noexcept {
  touch();
  return next<int(const char*)>("chdir")(path);
}

}  // extern "C"
