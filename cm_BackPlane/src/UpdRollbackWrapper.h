// The platform's rollback class, imported from librbkl.so.0.

#pragma once

#include <array>
#include <cstddef>
#include <string>

/// Registers payload files and writes them into the server's rollback partition.
///
/// The class lives in the platform's library; this header only states the part of its binary interface that
/// callers lean on: the destructor is the one virtual function, everything else is an ordinary exported
/// member. Callers create the object with `new` although its true size is known to the library alone, so the
/// declaration reserves generous room behind the table pointer. A library whose object holds more than is
/// declared here stays inside the allocation as long as it needs no more than that room.
///
/// Every operation, the destructor included, may throw: a one-byte error code (`unsigned char`) is the
/// platform's own way to fail, but nothing rules out a standard exception.
class UpdRollbackWrapper {
 public:
  UpdRollbackWrapper();
  virtual ~UpdRollbackWrapper() noexcept(false);

  UpdRollbackWrapper(const UpdRollbackWrapper&) = delete;
  UpdRollbackWrapper& operator=(const UpdRollbackWrapper&) = delete;

  /// Registers the payload file at `path` (a full path). The program always passes true for the second
  /// argument. Returns 0 on success and a status otherwise.
  int addPayloadFiles(std::string path, bool);

  /// Writes the registered files into the rollback partition. Returns 0 on success and a status otherwise.
  int updateFirmwarePartition();

 private:
  static constexpr std::size_t kReservedBytes = 512;

  /// The library's own state; never touched through this declaration.
  // NOLINTNEXTLINE(modernize-use-default-member-init): not this declaration's to initialise
  [[maybe_unused]] std::array<unsigned char, kReservedBytes> m_reserved;
};
