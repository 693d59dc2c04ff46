// Allocations that fail on demand, and objects that were never freed. A test program that links this replaces
// the global allocation functions.

#pragma once

#include <cstddef>

/// Makes one allocation fail while it lives. The test fails if no allocation did.
class AllocationFault {
 public:
  enum Outcome {
    kReturnsNull,     ///< of a `new (std::nothrow)`
    kThrowsBadAlloc,  ///< of any other
    kThrowsInt,       ///< throwing, with something that is no std::exception
  };

  /// The allocation is that of `size` bytes that comes after `skipped` others of its kind and size.
  AllocationFault(Outcome outcome, std::size_t size, unsigned skipped = 0);
  ~AllocationFault();
  AllocationFault(const AllocationFault&) = delete;
  AllocationFault& operator=(const AllocationFault&) = delete;
};

/// Counts the objects of one size that `new (std::nothrow)` has made while it lives.
class AllocationWatch {
 public:
  explicit AllocationWatch(std::size_t size);
  ~AllocationWatch();
  AllocationWatch(const AllocationWatch&) = delete;
  AllocationWatch& operator=(const AllocationWatch&) = delete;

  std::size_t made() const;
  /// Those that were not deleted.
  std::size_t alive() const;
};
