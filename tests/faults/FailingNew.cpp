// Preloaded: makes the FAULT_AT-th non-throwing `operator new` of the program fail, and writes how many there
// were into the file FAULT_COUNT at its end. Commands that the program runs are left alone.

#include <errno.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

bool isProgram() {
  return std::strcmp(program_invocation_short_name, "nvmepcissd") == 0;
}

struct Allocations {
  long failing = 0;
  long count = 0;

  Allocations() {
    const char* const at = std::getenv("FAULT_AT");
    if (at != nullptr && isProgram()) failing = std::strtol(at, nullptr, 10);
  }
  ~Allocations() {
    const char* const path = std::getenv("FAULT_COUNT");
    if (path == nullptr || !isProgram()) return;
    if (std::FILE* const file = std::fopen(path, "w")) {
      static_cast<void>(std::fprintf(file, "%ld\n", count));
      static_cast<void>(std::fclose(file));
    }
  }
};

Allocations allocations;

}  // namespace

void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (++allocations.count == allocations.failing) return nullptr;
  try {
    return ::operator new(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
