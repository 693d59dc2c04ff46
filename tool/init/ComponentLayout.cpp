#include "ComponentLayout.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>

#include "EmbeddedTexts.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr fs::perms kProgram = fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                               fs::perms::others_read | fs::perms::others_exec;
constexpr fs::perms kText =
    fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read | fs::perms::others_read;

void makeFolder(const fs::path& folder) {
  fs::create_directory(folder);
  fs::permissions(folder, kProgram);
}

void writeText(const fs::path& file, const char* text, fs::perms mode) {
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  stream.close();
  if (stream.fail()) throw std::runtime_error(file.string() + ": cannot be written: " + std::strerror(errno));
  fs::permissions(file, mode);
}

/// Removes what was made, unless it is to be kept.
class Rollback {
 public:
  explicit Rollback(fs::path folder) : m_folder(std::move(folder)), m_existed(fs::exists(m_folder)) {}
  ~Rollback() {
    if (m_isDone) return;
    std::error_code ignored;
    // The folder was empty: everything in it has been made here.
    for (const char* const name : {"nvmepcissd", "package.xml", "fwkitinstall.sh", "payload"})
      fs::remove(m_folder / name, ignored);
    if (!m_existed) fs::remove(m_folder, ignored);
  }
  Rollback(const Rollback&) = delete;
  Rollback& operator=(const Rollback&) = delete;

  void done() { m_isDone = true; }

 private:
  fs::path m_folder;
  bool m_existed;
  bool m_isDone = false;
};

}  // namespace

void layOutComponent(const fs::path& folder, const fs::path& executable) {
  if (fs::exists(fs::symlink_status(folder)) && !(fs::is_directory(folder) && fs::is_empty(folder)))
    throw std::runtime_error(folder.string() + ": exists and is not an empty folder");
  Rollback rollback(folder);
  makeFolder(folder);
  fs::copy_file(executable, folder / "nvmepcissd");
  fs::permissions(folder / "nvmepcissd", kProgram);
  writeText(folder / "package.xml", kPackageTemplate, kText);
  writeText(folder / "fwkitinstall.sh", kScriptTemplate, kProgram);
  makeFolder(folder / "payload");
  rollback.done();
}

fs::path installedExecutable() {
  const fs::path own = fs::read_symlink("/proc/self/exe").parent_path();
  // Below an installation's bin/, or beside it in a build.
  for (const fs::path& place : {own / "../libexec/nvmepcissd/nvmepcissd", own / "nvmepcissd"}) {
    if (fs::is_regular_file(place)) return place;
  }
  throw std::runtime_error("there is no nvmepcissd in ../libexec/nvmepcissd/ or beside this program in " +
                           own.string());
}

}  // namespace tool
