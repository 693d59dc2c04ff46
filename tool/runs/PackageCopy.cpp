#include "PackageCopy.h"

#include "AtomicFile.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr char kAllowList[] = "drives.allow";
constexpr char kLogMarker[] = "enabledebug.txt";

/// Links become what they lead to, except those to folders, which lead there still.
void copyEntries(const fs::path& folder, const fs::path& target) {
  fs::create_directory(target);
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    const fs::path copy = target / entry.path().lexically_relative(folder);
    if (entry.is_directory() && !entry.is_symlink()) {
      fs::create_directory(copy);
    } else if (entry.is_directory()) {
      fs::create_directory_symlink(fs::canonical(entry.path()), copy);
    } else if (entry.is_regular_file()) {
      fs::copy_file(entry.path(), copy);
    }
  }
}

}  // namespace

void copyPackage(const fs::path& folder, const fs::path& target,
                 const std::optional<std::vector<std::string>>& allowed) {
  copyEntries(folder, target);
  fs::remove(target / kLogMarker);
  if (!allowed) return;
  std::string list;
  for (const std::string& serial : *allowed) list += serial + '\n';
  writeAtomically(target / kAllowList, list, Existing::kReplace);
}

}  // namespace tool
