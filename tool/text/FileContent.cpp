#include "FileContent.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>

namespace tool {

namespace {

struct Closer {
  void operator()(std::FILE* file) const {
    if (file != stdin) static_cast<void>(std::fclose(file));
  }
};

}  // namespace

std::string contentOf(const std::string& source) {
  // A device such as /dev/zero never ends.
  constexpr std::size_t kMost = std::size_t{1} << 30U;
  const std::unique_ptr<std::FILE, Closer> file(source == "-" ? stdin : std::fopen(source.c_str(), "re"));
  std::string content;
  std::array<char, 65536> buffer{};
  while (file != nullptr && content.size() < kMost) {
    const std::size_t count = std::fread(buffer.data(), 1, buffer.size(), file.get());
    content.append(buffer.data(), count);
    // A short count is the end or an error.
    if (count == buffer.size()) continue;
    if (std::ferror(file.get()) == 0) return content;
    break;
  }
  throw std::system_error(content.size() < kMost ? errno : EFBIG, std::generic_category());
}

}  // namespace tool
