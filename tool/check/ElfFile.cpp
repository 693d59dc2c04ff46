#include "ElfFile.h"

#include <elf.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace tool {

namespace {

constexpr unsigned char kHostByteOrder =
    std::endian::native == std::endian::little ? ELFDATA2LSB : ELFDATA2MSB;

/// Why a file would not load; becomes ElfFile::refusal.
struct Refusal : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The bytes of a file, from which nothing is read that is not there.
class Bytes {
 public:
  explicit Bytes(std::span<const std::byte> bytes) : m_bytes(bytes) {}

  std::size_t size() const { return m_bytes.size(); }

  bool holds(std::uint64_t offset, std::uint64_t size) const {
    return offset <= m_bytes.size() && size <= m_bytes.size() - offset;
  }

  template <class T>
  T at(std::uint64_t offset) const {
    if (!holds(offset, sizeof(T))) {
      throw Refusal("is damaged: it refers to byte " + std::to_string(offset) + " and has " +
                    std::to_string(m_bytes.size()));
    }
    T value{};
    std::memcpy(&value, m_bytes.data() + offset, sizeof(T));
    return value;
  }

  /// The text that begins at `offset` and ends with a NUL before `end`.
  std::string text(std::uint64_t offset, std::uint64_t end) const {
    end = std::min<std::uint64_t>(end, m_bytes.size());
    if (offset < end) {
      const std::string_view rest(reinterpret_cast<const char*>(m_bytes.data()) + offset, end - offset);
      const std::size_t length = rest.find('\0');
      if (length != std::string_view::npos) return std::string(rest.substr(0, length));
    }
    throw Refusal("is damaged: a name in it has no end");
  }

 private:
  std::span<const std::byte> m_bytes;
};

/// Elf32_Dyn or Elf64_Dyn, whose value is a union of two types that are alike.
template <class Tag, class Value>
struct DynamicEntry {
  Tag tag;
  Value value;
};

struct Elf32 {
  using Header = Elf32_Ehdr;
  using Segment = Elf32_Phdr;
  using Dynamic = DynamicEntry<Elf32_Sword, Elf32_Word>;
  using Symbol = Elf32_Sym;
  using HashWord = Elf32_Addr;
};

struct Elf64 {
  using Header = Elf64_Ehdr;
  using Segment = Elf64_Phdr;
  using Dynamic = DynamicEntry<Elf64_Sxword, Elf64_Xword>;
  using Symbol = Elf64_Sym;
  using HashWord = Elf64_Addr;
};

/// The part of a file that the loader looks at, for one word width.
template <class Elf>
class Image {
 public:
  Image(const Bytes& bytes, bool executable)
      : m_bytes(bytes), m_namesLeft(kNamesAByte * (bytes.size() + kNamesAtLeast)) {
    const auto header = bytes.at<typename Elf::Header>(0);
    checkSystem(header);
    if (header.e_type == ET_EXEC && !executable) throw Refusal("is an executable, not a library");
    if (header.e_type != ET_DYN && header.e_type != ET_EXEC) throw Refusal("is not a shared library");
    if (header.e_phentsize != sizeof(typename Elf::Segment)) throw Refusal("is damaged: no program headers");
    readSegments(header.e_phoff, header.e_phnum);
    readDynamic();
    const std::uint64_t flags = value(DT_FLAGS_1);
    if ((flags & DF_1_PIE) != 0 && !executable) throw Refusal("is an executable, not a library");
    if ((flags & DF_1_NOOPEN) != 0) throw Refusal("forbids being loaded at run time");
  }

  void describe(ElfFile& file) const {
    for (const typename Elf::Dynamic& entry : m_dynamic) {
      if (entry.tag == DT_NEEDED) file.needed.push_back(name(entry.value));
    }
    // DT_RPATH counts only without a DT_RUNPATH.
    for (const auto tag : {DT_RUNPATH, DT_RPATH}) {
      if (file.searchPath.empty() && find(tag) != nullptr) file.searchPath = name(value(tag));
    }
    readVersions(file);
    if (find(DT_SYMTAB) == nullptr) return;
    const std::uint64_t symbols = fileOffset(value(DT_SYMTAB));
    const std::uint64_t count = symbolCount();
    for (std::uint64_t i = 1; i < count; ++i) {
      addSymbol(m_bytes.at<typename Elf::Symbol>(symbols + i * sizeof(typename Elf::Symbol)), file);
    }
  }

 private:
  /// What no library's names come to, in bytes, for every byte of its file; damaged ones may share theirs.
  static constexpr std::uint64_t kNamesAByte = 64;
  static constexpr std::uint64_t kNamesAtLeast = 4096;

  static void checkSystem(const typename Elf::Header& header) {
    if (header.e_ident[EI_VERSION] != EV_CURRENT || header.e_version != EV_CURRENT)
      throw Refusal("has an unknown ELF version");
    const unsigned char system = header.e_ident[EI_OSABI];
    if (system != ELFOSABI_SYSV && system != ELFOSABI_GNU) throw Refusal("is for another operating system");
    if (system == ELFOSABI_SYSV && header.e_ident[EI_ABIVERSION] != 0)
      throw Refusal("is for another binary interface of the system");
  }

  void readSegments(std::uint64_t offset, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      const auto segment = m_bytes.at<typename Elf::Segment>(offset + i * sizeof(typename Elf::Segment));
      if (segment.p_type == PT_DYNAMIC) m_dynamicSegment = segment;
      if (segment.p_type != PT_LOAD) continue;
      if (!m_bytes.holds(segment.p_offset, segment.p_filesz)) {
        throw Refusal("is cut off: a part to be loaded lies beyond its " + std::to_string(m_bytes.size()) +
                      " bytes");
      }
      m_load.push_back(segment);
    }
    if (m_load.empty()) throw Refusal("is damaged: nothing in it is to be loaded");
    if (!m_dynamicSegment) throw Refusal("has nothing for the dynamic loader (no dynamic section)");
  }

  void readDynamic() {
    const std::uint64_t count = m_dynamicSegment->p_filesz / sizeof(typename Elf::Dynamic);
    for (std::uint64_t i = 0; i < count; ++i) {
      const auto entry =
          m_bytes.at<typename Elf::Dynamic>(m_dynamicSegment->p_offset + i * sizeof(typename Elf::Dynamic));
      if (entry.tag == DT_NULL) break;
      m_dynamic.push_back(entry);
    }
  }

  const typename Elf::Dynamic* find(std::int64_t tag) const {
    for (const typename Elf::Dynamic& entry : m_dynamic) {
      if (entry.tag == tag) return &entry;
    }
    return nullptr;
  }

  /// 0 without such an entry.
  std::uint64_t value(std::int64_t tag) const {
    const typename Elf::Dynamic* const entry = find(tag);
    return entry == nullptr ? 0 : entry->value;
  }

  std::uint64_t fileOffset(std::uint64_t address) const {
    for (const typename Elf::Segment& segment : m_load) {
      if (address >= segment.p_vaddr && address - segment.p_vaddr < segment.p_filesz) {
        return segment.p_offset + (address - segment.p_vaddr);
      }
    }
    throw Refusal("is damaged: it refers to an address that is not in the file");
  }

  std::string name(std::uint64_t index) const {
    const std::uint64_t table = fileOffset(value(DT_STRTAB));
    const std::uint64_t size = value(DT_STRSZ);
    if (index >= size) throw Refusal("is damaged: a name in it lies outside its table of names");
    std::string text = m_bytes.text(table + index, table + size);
    constexpr std::uint64_t kOwnCost = 32;
    const std::uint64_t cost = text.size() + kOwnCost;
    if (cost > m_namesLeft) throw Refusal("is damaged: its names are longer than the file can hold");
    m_namesLeft -= cost;
    return text;
  }

  /// The records are alike in both widths.
  void readVersions(ElfFile& file) const {
    forEachLinked<Elf64_Verneed>(DT_VERNEED, &Elf64_Verneed::vn_next, [&](const auto& library, auto place) {
      std::set<std::string>& versions = file.neededVersions[name(library.vn_file)];
      place += library.vn_aux;
      for (unsigned i = 0; i < library.vn_cnt; ++i) {
        const auto version = m_bytes.at<Elf64_Vernaux>(place);
        std::string text = name(version.vna_name);
        if ((version.vna_flags & VER_FLG_WEAK) == 0) versions.insert(std::move(text));
        place += version.vna_next;
      }
    });
    forEachLinked<Elf64_Verdef>(DT_VERDEF, &Elf64_Verdef::vd_next, [&](const auto& version, auto place) {
      file.versions.insert(name(m_bytes.at<Elf64_Verdaux>(place + version.vd_aux).vda_name));
    });
  }

  /// Every record of a list whose records say how far away the next one is, 0 for the last.
  template <class Record, class Next, class Visit>
  void forEachLinked(std::int64_t tag, Next next, const Visit& visit) const {
    if (find(tag) == nullptr) return;
    std::uint64_t place = fileOffset(value(tag));
    for (;;) {
      const auto record = m_bytes.at<Record>(place);
      visit(record, place);
      if (record.*next == 0) return;
      place += record.*next;
    }
  }

  /// The table of symbols does not say how many there are; the tables to look them up by do.
  std::uint64_t symbolCount() const {
    if (find(DT_HASH) != nullptr) {
      constexpr std::uint64_t kChainCount = sizeof(std::uint32_t);
      return m_bytes.at<std::uint32_t>(fileOffset(value(DT_HASH)) + kChainCount);
    }
    return find(DT_GNU_HASH) == nullptr ? 0 : gnuSymbolCount(fileOffset(value(DT_GNU_HASH)));
  }

  /// One beyond the last symbol of the last chain; what stands before the first chain is never looked up, but
  /// holds the imports.
  std::uint64_t gnuSymbolCount(std::uint64_t table) const {
    struct GnuHash {
      std::uint32_t buckets, firstSymbol, bloomWords, bloomShift;
    };
    const auto hash = m_bytes.at<GnuHash>(table);
    const std::uint64_t buckets = table + sizeof(GnuHash) + hash.bloomWords * sizeof(typename Elf::HashWord);
    const std::uint64_t chains = buckets + hash.buckets * sizeof(std::uint32_t);
    if (!m_bytes.holds(buckets, chains - buckets))
      throw Refusal("is damaged: its table of symbols is cut off");
    std::uint64_t last = 0;
    for (std::uint64_t i = 0; i < hash.buckets; ++i) {
      last = std::max<std::uint64_t>(last, m_bytes.at<std::uint32_t>(buckets + i * sizeof(std::uint32_t)));
    }
    if (last < hash.firstSymbol) return hash.firstSymbol;
    const auto endsChain = [&](std::uint64_t symbol) {
      return (m_bytes.at<std::uint32_t>(chains + (symbol - hash.firstSymbol) * sizeof(std::uint32_t)) & 1U) !=
             0;
    };
    while (!endsChain(last)) ++last;
    return last + 1;
  }

  void addSymbol(const typename Elf::Symbol& symbol, ElfFile& file) const {
    const unsigned binding = symbol.st_info >> 4U;
    const unsigned type = symbol.st_info & 0xFU;
    const unsigned visibility = symbol.st_other & 0x3U;
    if (binding == STB_LOCAL) return;
    if (symbol.st_shndx == SHN_UNDEF) {
      if (binding == STB_GLOBAL) file.imports.insert(name(symbol.st_name));
    } else if (visibility == STV_DEFAULT || visibility == STV_PROTECTED) {
      file.exports[name(symbol.st_name)] |= type == STT_FUNC || type == STT_GNU_IFUNC || type == STT_NOTYPE;
    }
  }

  const Bytes& m_bytes;
  mutable std::uint64_t m_namesLeft;  // so that damage ends the reading
  std::vector<typename Elf::Segment> m_load;
  std::optional<typename Elf::Segment> m_dynamicSegment;
  std::vector<typename Elf::Dynamic> m_dynamic;
};

void readImage(const Bytes& bytes, bool executable, ElfFile& file) {
  if (file.architecture.byteOrder != kHostByteOrder) throw Refusal("has the byte order of another machine");
  switch (file.architecture.wordClass) {
    case ELFCLASS32:
      return Image<Elf32>(bytes, executable).describe(file);
    case ELFCLASS64:
      return Image<Elf64>(bytes, executable).describe(file);
    default:
      throw Refusal("is damaged: neither 32-bit nor 64-bit");
  }
}

class Mapping {
 public:
  explicit Mapping(const std::filesystem::path& path) {
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) throw Refusal(std::string("cannot be read: ") + std::strerror(errno));
    struct stat status {};
    const bool regular = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
    if (regular && status.st_size > 0) {
      m_size = static_cast<std::size_t>(status.st_size);
      m_start = mmap(nullptr, m_size, PROT_READ, MAP_PRIVATE, fd, 0);
    }
    close(fd);
    if (!regular) throw Refusal("is not a regular file");
    if (m_size == 0) throw Refusal("is empty");
    if (m_start == MAP_FAILED) throw Refusal("cannot be mapped into memory");
  }
  ~Mapping() { munmap(m_start, m_size); }
  Mapping(const Mapping&) = delete;
  Mapping& operator=(const Mapping&) = delete;

  std::span<const std::byte> bytes() const { return {static_cast<const std::byte*>(m_start), m_size}; }

 private:
  void* m_start = MAP_FAILED;
  std::size_t m_size = 0;
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

bool readElf(std::span<const std::byte> content, bool executable, ElfFile& file) {
  file = {};
  const Bytes bytes(content);
  if (!bytes.holds(0, SELFMAG) || std::memcmp(content.data(), ELFMAG, SELFMAG) != 0) {
    file.refusal = "is not an ELF file";
    return false;
  }
  if (!bytes.holds(0, EI_NIDENT + 2 * sizeof(std::uint16_t))) {
    file.refusal = "is cut off within its header";
    return false;
  }
  const auto ident = bytes.at<std::array<unsigned char, EI_NIDENT>>(0);
  auto machine =
      bytes.at<std::uint16_t>(offsetof(Elf64_Ehdr, e_machine));  // at the same place in both widths
  if (ident[EI_DATA] != kHostByteOrder) machine = static_cast<std::uint16_t>(machine << 8U | machine >> 8U);
  file.architecture = {ident[EI_CLASS], ident[EI_DATA], machine};
  try {
    readImage(bytes, executable, file);
  } catch (const Refusal& refusal) {
    file = {.architecture = file.architecture, .refusal = refusal.what()};
  }
  return true;
}

bool readElf(const std::filesystem::path& path, bool executable, ElfFile& file) {
  try {
    return readElf(Mapping(path).bytes(), executable, file);
  } catch (const Refusal& refusal) {
    file = {.refusal = refusal.what()};
    return false;
  }
}

}  // namespace tool
