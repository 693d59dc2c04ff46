#include "ElfFile.h"

#include <fcntl.h>
#include <gelf.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace tool {

namespace {

/// Becomes ElfFile::damage.
struct Damage : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Descriptor {
 public:
  /// A pipe is opened without waiting for its other end.
  explicit Descriptor(const std::filesystem::path& path)
      : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
    if (m_descriptor < 0) throw Damage(std::string("cannot be read: ") + std::strerror(errno));
  }
  ~Descriptor() { close(m_descriptor); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  operator int() const { return m_descriptor; }

 private:
  int m_descriptor;
};

struct ElfEnd {
  void operator()(Elf* elf) const { elf_end(elf); }
};

std::uint64_t sizeOfRegularFile(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) throw Damage("is not a regular file");
  if (status.st_size == 0) throw Damage("is empty");
  return static_cast<std::uint64_t>(status.st_size);
}

class Reading {
 public:
  explicit Reading(const std::filesystem::path& path)
      : m_descriptor(path),
        m_size(sizeOfRegularFile(m_descriptor)),
        m_namesLeft(kNamesAByte * (m_size + kNamesAtLeast)) {
    elf_version(EV_CURRENT);
    m_elf.reset(elf_begin(m_descriptor, ELF_C_READ, nullptr));
    if (m_elf == nullptr || elf_kind(m_elf.get()) != ELF_K_ELF) throw Damage("is not an ELF file");
  }

  ElfArchitecture architecture() const {
    const GElf_Ehdr own = header();
    return {own.e_ident[EI_CLASS], own.e_ident[EI_DATA], own.e_machine};
  }

  void describe(ElfFile& file) {
    file.architecture = architecture();
    file.isExecutable = header().e_type == ET_EXEC;
    checkSegments(file);
    try {
      readSections(file);
    } catch (const Damage& damage) {
      file.sectionDamage = damage.what();
    }
  }

 private:
  /// What no library's names come to, in bytes, for every byte of its file; damaged ones may share theirs.
  static constexpr std::uint64_t kNamesAByte = 64;
  static constexpr std::uint64_t kNamesAtLeast = 4096;

  void readSections(ElfFile& file) {
    for (Elf_Scn* section = nullptr; (section = elf_nextscn(m_elf.get(), section)) != nullptr;) {
      GElf_Shdr place{};
      if (gelf_getshdr(section, &place) == nullptr) throw Damage("is damaged: a section has no header");
      if (place.sh_type == SHT_DYNAMIC) readDynamic(section, place.sh_link, file);
      if (place.sh_type == SHT_NOTE) readNotes(section, file);
      if (place.sh_type == SHT_DYNSYM) readSymbols(section, place.sh_link, file);
      if (place.sh_type == SHT_GNU_verdef) readVersions(section, place.sh_link, file);
      if (place.sh_type == SHT_GNU_verneed) readNeededVersions(section, place.sh_link, file);
    }
    if (!file.hasSymbols) throw Damage("has no readable table of symbols");
  }

  GElf_Ehdr header() const {
    GElf_Ehdr header{};
    if (gelf_getehdr(m_elf.get(), &header) == nullptr) throw Damage("is cut off within its header");
    return header;
  }

  /// The loader maps segments where the file asks for it, and ends when it touches one that lies beyond the
  /// end of the file.
  void checkSegments(ElfFile& file) const {
    std::size_t count = 0;
    if (elf_getphdrnum(m_elf.get(), &count) != 0) throw Damage("is damaged: it has no program headers");
    std::uint64_t end = 0;
    for (std::size_t i = 0; i < count; ++i) {
      GElf_Phdr segment{};
      if (gelf_getphdr(m_elf.get(), static_cast<int>(i), &segment) == nullptr)
        throw Damage("is cut off within its program headers");
      if (segment.p_type == PT_INTERP) file.interpreter = textAt(segment.p_offset);
      if (segment.p_type != PT_LOAD) continue;
      if (segment.p_offset > m_size || segment.p_filesz > m_size - segment.p_offset) {
        throw Damage("is cut off: a part to be loaded lies beyond its " + std::to_string(m_size) + " bytes");
      }
      if (segment.p_vaddr < end || segment.p_memsz > UINT64_MAX - segment.p_vaddr)
        throw Damage("is damaged: its segments lie across each other");
      end = segment.p_vaddr + segment.p_memsz;
    }
  }

  /// A text of the file itself; a longer one than any path is cut off.
  std::string textAt(std::uint64_t place) const {
    std::array<char, PATH_MAX> text{};
    const ssize_t count = pread(m_descriptor, text.data(), text.size() - 1, static_cast<off_t>(place));
    return count > 0 ? text.data() : std::string();
  }

  Elf_Data* content(Elf_Scn* section) const {
    Elf_Data* const data = elf_getdata(section, nullptr);
    if (data == nullptr) throw Damage("is cut off: a section lies beyond its end");
    return data;
  }

  std::string name(std::size_t table, std::size_t index) {
    // NOLINTNEXTLINE(readability-suspicious-call-argument): the section of the names, then the place in it
    const char* const text = elf_strptr(m_elf.get(), table, index);
    if (text == nullptr) throw Damage("is damaged: a name in it lies outside its table of names");
    constexpr std::uint64_t kOwnCost = 32;
    const std::uint64_t cost = std::strlen(text) + kOwnCost;
    if (cost > m_namesLeft) throw Damage("is damaged: its names are longer than the file can hold");
    m_namesLeft -= cost;
    return text;
  }

  void readDynamic(Elf_Scn* section, std::size_t names, ElfFile& file) {
    Elf_Data* const data = content(section);
    GElf_Dyn entry{};
    for (int i = 0; gelf_getdyn(data, i, &entry) != nullptr && entry.d_tag != DT_NULL; ++i) {
      // NOLINTNEXTLINE(cppcoreguidelines-pro-type-union-access): the union is the format's
      const GElf_Xword value = entry.d_un.d_val;
      switch (entry.d_tag) {
        case DT_NEEDED:
          file.needed.push_back(name(names, value));
          break;
        case DT_SONAME:
          file.soname = name(names, value);
          break;
        case DT_RUNPATH:
          file.searchPath = name(names, value);
          break;
        case DT_RPATH:  // counts only without a DT_RUNPATH
          if (file.searchPath.empty()) file.searchPath = name(names, value);
          break;
        case DT_FLAGS_1:
          file.isExecutable |= (value & DF_1_PIE) != 0;
          file.opensNever = (value & DF_1_NOOPEN) != 0;
          break;
        default:
          break;
      }
    }
  }

  /// cmake/Origin.cpp.in shows the note.
  void readNotes(Elf_Scn* section, ElfFile& file) const {
    Elf_Data* const data = content(section);
    const std::string_view bytes(static_cast<const char*>(data->d_buf), data->d_size);
    GElf_Nhdr note{};
    std::size_t owner = 0;
    std::size_t text = 0;
    for (std::size_t next = 0; (next = gelf_getnote(data, next, &note, &owner, &text)) > 0;) {
      constexpr std::string_view kOwner("nvmepcissd\0", sizeof("nvmepcissd"));
      if (bytes.substr(owner, note.n_namesz) != kOwner) continue;
      const std::string_view origin = bytes.substr(text, note.n_descsz);
      file.origin = origin.substr(0, origin.find('\0'));
    }
  }

  void readSymbols(Elf_Scn* section, std::size_t names, ElfFile& file) {
    Elf_Data* const data = content(section);
    file.hasSymbols = true;
    GElf_Sym symbol{};
    for (int i = 1; gelf_getsym(data, i, &symbol) != nullptr; ++i) {
      const unsigned char binding = GELF_ST_BIND(symbol.st_info);
      const unsigned char type = GELF_ST_TYPE(symbol.st_info);
      const unsigned char visibility = GELF_ST_VISIBILITY(symbol.st_other);
      if (binding == STB_LOCAL) continue;
      if (symbol.st_shndx == SHN_UNDEF) {
        if (binding == STB_GLOBAL) file.imports.insert(name(names, symbol.st_name));
      } else if (visibility == STV_DEFAULT || visibility == STV_PROTECTED) {
        file.exports[name(names, symbol.st_name)] |=
            type == STT_FUNC || type == STT_GNU_IFUNC || type == STT_NOTYPE;
      }
    }
  }

  /// Where an entry of `data` is for libelf, which refuses what is below 0.
  static int offsetIn(const Elf_Data* data, std::uint64_t place) {
    return place < data->d_size && place <= INT_MAX ? static_cast<int>(place) : -1;
  }

  /// An entry gives the distance of the next one, which is 0 in the last.
  void readVersions(Elf_Scn* section, std::size_t names, ElfFile& file) {
    Elf_Data* const data = content(section);
    GElf_Verdef version{};
    for (std::uint64_t place = 0; gelf_getverdef(data, offsetIn(data, place), &version) != nullptr;) {
      GElf_Verdaux first{};
      if (gelf_getverdaux(data, offsetIn(data, place + version.vd_aux), &first) == nullptr) return;
      file.versions.insert(name(names, first.vda_name));
      if (version.vd_next == 0) return;
      place += version.vd_next;
    }
  }

  void readNeededVersions(Elf_Scn* section, std::size_t names, ElfFile& file) {
    Elf_Data* const data = content(section);
    GElf_Verneed library{};
    for (std::uint64_t place = 0; gelf_getverneed(data, offsetIn(data, place), &library) != nullptr;) {
      std::set<std::string>& versions = file.neededVersions[name(names, library.vn_file)];
      GElf_Vernaux version{};
      for (std::uint64_t own = place + library.vn_aux;
           gelf_getvernaux(data, offsetIn(data, own), &version) != nullptr; own += version.vna_next) {
        const std::string text = name(names, version.vna_name);
        if ((version.vna_flags & VER_FLG_WEAK) == 0) versions.insert(text);
        if (version.vna_next == 0) break;
      }
      if (library.vn_next == 0) return;
      place += library.vn_next;
    }
  }

  Descriptor m_descriptor;
  std::uint64_t m_size;
  std::uint64_t m_namesLeft;  // so that damage ends the reading
  std::unique_ptr<Elf, ElfEnd> m_elf;
};

}  // namespace

std::string ElfArchitecture::name() const {
  struct Machine {
    std::uint16_t number;
    std::string_view name;
  };
  static constexpr std::array<Machine, 8> kMachines{{{EM_386, "x86"},
                                                     {EM_X86_64, "x86-64"},
                                                     {EM_ARM, "Arm"},
                                                     {EM_AARCH64, "AArch64"},
                                                     {EM_PPC64, "PowerPC"},
                                                     {EM_S390, "S/390"},
                                                     {EM_RISCV, "RISC-V"},
                                                     {EM_MIPS, "MIPS"}}};
  std::string text = wordClass == ELFCLASS64 ? "64-bit " : "32-bit ";
  if (byteOrder == ELFDATA2MSB) text += "big-endian ";
  const auto* const known = std::find_if(kMachines.begin(), kMachines.end(),
                                         [this](const Machine& m) { return m.number == machine; });
  return text + (known == kMachines.end() ? "machine " + std::to_string(machine) : std::string(known->name));
}

ElfFile readElf(const std::filesystem::path& path) {
  ElfFile file;
  try {
    Reading(path).describe(file);
  } catch (const Damage& damage) {
    file.damage = damage.what();
  }
  return file;
}

const ElfFile& ElfFiles::at(const std::filesystem::path& path) {
  const std::filesystem::path place = path.lexically_normal();
  const auto known = m_files.find(place);
  return known != m_files.end() ? known->second : m_files.emplace(place, readElf(place)).first->second;
}

ElfArchitecture thisMachine() {
  static const ElfArchitecture kArchitecture = Reading("/proc/self/exe").architecture();
  return kArchitecture;
}

}  // namespace tool
