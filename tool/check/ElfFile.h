// What a shared library or an executable says about itself. Read with elfutils' libelf from the file alone:
// nothing of it is loaded or run. The layout is that of elf(5).

#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace tool {

/// What a library and the process that loads it must have in common.
struct ElfArchitecture {
  unsigned char wordClass{};  ///< ELFCLASS32 or ELFCLASS64
  unsigned char byteOrder{};  ///< ELFDATA2LSB or ELFDATA2MSB
  std::uint16_t machine{};    ///< EM_...

  bool operator==(const ElfArchitecture&) const = default;

  /// For a person, as "64-bit x86-64".
  std::string name() const;
};

struct ElfFile {
  ElfArchitecture architecture{};  ///< all zero when the file is no ELF file

  /// Why the file cannot be loaded (as "is cut off: ..."); empty when it may be. Otherwise everything below
  /// is empty.
  std::string damage{};
  /// What is wrong with its table of sections, which the loader does not look at; empty when it was read.
  /// Otherwise what stands below, but for `interpreter`, is incomplete.
  std::string sectionDamage{};

  bool isExecutable = false;  ///< an executable, position-independent or not
  bool opensNever = false;    ///< its linker flags forbid loading it at run time
  bool hasSymbols = false;    ///< false when nothing is known of them
  /// For what this project builds to be put into a package: "nvme_linux", its own drive library, or
  /// "simulator", the stand-ins. Empty for everything else.
  std::string origin{};
  std::string soname{};               ///< the name that other files need it by
  std::vector<std::string> needed{};  ///< the libraries that it asks for, by name
  std::string searchPath{};           ///< its own folders to look for them in, between colons
  std::string interpreter{};          ///< path of the loader that starts it; empty for most libraries
  std::set<std::string> versions{};   ///< the versions that its symbols have, as "GLIBC_2.36"
  /// By the name of a library in `needed`: the versions that it must have.
  std::map<std::string, std::set<std::string>> neededVersions{};
  std::map<std::string, bool> exports{};  ///< what others may bind to; true for what can be called
  std::set<std::string> imports{};        ///< what must be bound for the file to load

  /// It can be started. A library that has a loader of its own can, too.
  bool isProgram() const { return isExecutable || !interpreter.empty(); }
};

/// Reads the file at `path`, which may hold anything. Time and memory stay in proportion to its size. A file
/// that cannot be opened, or that is not a regular one, has the reason in `damage`.
ElfFile readElf(const std::filesystem::path& path);

/// Reads every file once, however often it is asked for.
class ElfFiles {
 public:
  /// Like `readElf`. The reference stays good as long as this object.
  const ElfFile& at(const std::filesystem::path& path);

 private:
  std::map<std::filesystem::path, ElfFile> m_files{};
};

/// The architecture of this very program.
ElfArchitecture thisMachine();

}  // namespace tool
