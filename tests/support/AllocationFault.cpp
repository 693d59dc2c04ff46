#include "AllocationFault.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <optional>

namespace {

struct Fault {
  AllocationFault::Outcome outcome;
  std::size_t size;
  unsigned skipped;
};

/// The fault that has not happened yet.
std::optional<Fault> g_fault;

struct Watch {
  std::size_t size;
  std::size_t made = 0;
  std::size_t alive = 0;
  std::array<void*, 512> objects{};
};

std::optional<Watch> g_watch;

/// Whether this allocation is the one to fail; it fails once.
bool takesFault(std::size_t size, bool returnsNull) {
  if (!g_fault || g_fault->size != size ||
      (g_fault->outcome == AllocationFault::kReturnsNull) != returnsNull) {
    return false;
  }
  if (g_fault->skipped > 0) {
    --g_fault->skipped;
    return false;
  }
  return true;
}

void* allocate(std::size_t size) {
  if (takesFault(size, false)) {
    const AllocationFault::Outcome outcome = g_fault->outcome;
    g_fault.reset();
    if (outcome == AllocationFault::kThrowsInt) throw 1;
    throw std::bad_alloc();
  }
  void* const memory = std::malloc(std::max<std::size_t>(size, 1));
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void* allocateOrNull(std::size_t size) noexcept {
  if (takesFault(size, true)) {
    g_fault.reset();
    return nullptr;
  }
  void* const memory = std::malloc(std::max<std::size_t>(size, 1));
  if (memory != nullptr && g_watch && g_watch->size == size && g_watch->alive < g_watch->objects.size()) {
    g_watch->objects[g_watch->alive++] = memory;
    ++g_watch->made;
  }
  return memory;
}

void release(void* memory) noexcept {
  if (memory != nullptr && g_watch) {
    const auto end = g_watch->objects.begin() + static_cast<std::ptrdiff_t>(g_watch->alive);
    const auto object = std::find(g_watch->objects.begin(), end, memory);
    if (object != end) *object = g_watch->objects[--g_watch->alive];
  }
  std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) {
  return allocate(size);
}
void* operator new[](std::size_t size) {
  return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return allocateOrNull(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return allocateOrNull(size);
}
void operator delete(void* memory) noexcept {
  release(memory);
}
void operator delete[](void* memory) noexcept {
  release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  release(memory);
}

AllocationFault::AllocationFault(Outcome outcome, std::size_t size, unsigned skipped) {
  g_fault = Fault{outcome, size, skipped};
}

AllocationFault::~AllocationFault() {
  const bool happened = !g_fault;
  g_fault.reset();
  EXPECT_TRUE(happened) << "there was no such allocation";
}

AllocationWatch::AllocationWatch(std::size_t size) {
  g_watch.emplace();
  g_watch->size = size;
}

AllocationWatch::~AllocationWatch() {
  g_watch.reset();
}

std::size_t AllocationWatch::made() const {
  return g_watch->made;
}

std::size_t AllocationWatch::alive() const {
  return g_watch->alive;
}
