// What the package check reads of a library or an executable.

#include <algorithm>
#include <string_view>

#include "ElfFile.h"
#include "FuzzSupport.h"

namespace {

std::string_view input;

/// A name that was read stands in the file, with a NUL after it.
bool isInFile(const std::string& name) {
  return input.find(name + '\0') != std::string_view::npos;
}

void checkNames(const tool::ElfFile& file) {
  std::size_t bytes = 0;
  const auto check = [&bytes](const std::string& name) {
    PROMISE(name.find('\0') == std::string::npos);
    PROMISE(isInFile(name));
    bytes += name.size();
  };
  for (const std::string& name : file.needed) check(name);
  for (const auto& [name, isCallable] : file.exports) check(name);
  for (const std::string& name : file.imports) check(name);
  if (!file.soname.empty()) check(file.soname);
  if (!file.searchPath.empty()) check(file.searchPath);
  constexpr std::size_t kBytesAByte = 64;
  PROMISE(bytes <= kBytesAByte * (input.size() + 4096));
}

bool same(const tool::ElfFile& one, const tool::ElfFile& other) {
  return one.architecture == other.architecture && one.damage == other.damage && one.needed == other.needed &&
         one.exports == other.exports && one.imports == other.imports && one.soname == other.soname;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  input = {reinterpret_cast<const char*>(data), size};
  fuzz::Scratch::enter().write("library.so", {data, size});
  const tool::ElfFile file = tool::readElf("library.so");
  if (file.damage.empty()) {
    PROMISE(file.architecture != tool::ElfArchitecture{});
    PROMISE(
        input.starts_with("\x7f"
                          "ELF"));
  }
  PROMISE(file.architecture == tool::ElfArchitecture{} || !file.architecture.name().empty());
  PROMISE(file.hasSymbols || (file.exports.empty() && file.imports.empty()));
  checkNames(file);
  PROMISE(same(tool::readElf("library.so"), file));
  return 0;
}
