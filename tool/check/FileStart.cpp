#include "FileStart.h"

#include <algorithm>
#include <fstream>

namespace fs = std::filesystem;

namespace tool {

std::vector<std::string> namesIn(const fs::path& folder, std::error_code& error) {
  std::vector<std::string> names;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error))
    names.push_back(entry->path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

std::string startOf(const fs::path& file, std::size_t limit) {
  std::error_code error;
  if (!fs::is_regular_file(file, error)) return {};
  std::ifstream stream(file, std::ios::binary);
  std::string start(limit, '\0');
  stream.read(start.data(), static_cast<std::streamsize>(limit));
  start.resize(static_cast<std::size_t>(stream.gcount()));
  return start;
}

}  // namespace tool
