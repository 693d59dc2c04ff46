// What the dynamic loader would make of a shared library, told from its file alone: nothing of it is loaded
// or run. The layout is that of elf(5).

#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <span>
#include <string>
#include <vector>

namespace tool {

/// What a library and the process that loads it must have in common.
struct ElfArchitecture {
  unsigned char wordClass = 0;  ///< ELFCLASS32 or ELFCLASS64
  unsigned char byteOrder = 0;  ///< ELFDATA2LSB or ELFDATA2MSB
  std::uint16_t machine = 0;    ///< EM_...

  bool operator==(const ElfArchitecture&) const = default;

  /// For a person, as "64-bit x86-64".
  std::string name() const;
};

/// A library or an executable.
struct ElfFile {
  ElfArchitecture architecture{};

  /// Why the dynamic loader would refuse the file (as "is an executable, not a library"); empty when it would
  /// not. With a text here, everything below is empty.
  std::string refusal{};

  std::map<std::string, bool> exports{};  ///< what others may bind to; true for what can be called
  std::set<std::string> imports{};        ///< what must be bound for the file to load
  std::vector<std::string> needed{};      ///< the libraries that it asks for, by name
  std::string searchPath{};               ///< its own folders to look for them in, between colons

  std::set<std::string> versions{};  ///< that its symbols have, as "GLIBC_2.36"; none without versions
  std::map<std::string, std::set<std::string>> neededVersions{};  ///< by library: those that it must have
};

/// Reads a file's bytes. Anything is fair input: every offset in the file is checked before it is followed,
/// and time and memory stay in proportion to its size. False, with the reason in `file.refusal`, when the
/// bytes are no ELF file at all; true with a reason there when they are one that would not load as a library.
/// An executable is read in full when `executable` is set.
bool readElf(std::span<const std::byte> content, bool executable, ElfFile& file);

/// Likewise for the file at `path`, which is mapped, not read.
bool readElf(const std::filesystem::path& path, bool executable, ElfFile& file);

}  // namespace tool
