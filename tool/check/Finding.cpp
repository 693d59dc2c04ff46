#include "Finding.h"

#include <system_error>

namespace tool {

std::string_view nameOf(Severity severity) {
  constexpr std::array<std::string_view, 3> kNames{"note", "warning", "error"};
  return kNames.at(static_cast<std::size_t>(severity));
}

std::string modeRemedy(const std::string& mode, const std::filesystem::path& file,
                       const std::filesystem::path& folder) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::canonical(file, error);
  const bool direct =
      file == folder || target == std::filesystem::canonical(folder, error) / file.lexically_relative(folder);
  if (direct) return "chmod " + mode + " " + file.string();
  return "a link leads to " + target.string() + ": replace the link by what it leads to";
}

}  // namespace tool
