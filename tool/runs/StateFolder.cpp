#include "StateFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "AtomicFile.h"
#include "Boot.h"
#include "FileContent.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr char kRecordName[] = "run.json";
constexpr char kAttempt[] = "attempt-";  // and its number
constexpr mode_t kPrivate = 0700;

bool isLetterOrDigit(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

/// Makes the folder and those above it. Only the last one is private.
void makeRoot(const fs::path& root) {
  fs::create_directories(root.parent_path());
  if (mkdir(root.c_str(), kPrivate) != 0 && errno != EEXIST)
    throw std::system_error(errno, std::generic_category(), root.string());
}

/// Not the name of a run, so that nobody takes what is in it for one.
constexpr char kDraft[] = ".draft";

/// Gives a folder that is whole its name. False for a name that is taken.
bool publish(const fs::path& draft, const fs::path& folder) {
  if (renameat2(AT_FDCWD, draft.c_str(), AT_FDCWD, folder.c_str(), RENAME_NOREPLACE) == 0) return true;
  if (errno == EEXIST) return false;
  throw std::system_error(errno, std::generic_category(), folder.string());
}

/// "2026-01-31-120000", and from the second run of that second on "2026-01-31-120000-2".
std::string nameMadeOfTime(unsigned int number) {
  std::string name;
  for (const char c : timeNow()) {
    if (isLetterOrDigit(c) && c != 'Z' && c != 'T') name += c;
    if (c == '-' || c == 'T') name += '-';
  }
  return number == 1 ? name : name + "-" + std::to_string(number);
}

/// A link could lead anywhere, so it is no run.
bool isRealFolder(const fs::path& path) {
  std::error_code error;
  return fs::symlink_status(path, error).type() == fs::file_type::directory;
}

}  // namespace

void Run::save() const {
  writeAtomically(file(kRecordName), toJson(record), Existing::kReplace);
}

void Run::load() {
  const fs::path path = file(kRecordName);
  try {
    // Anything but a file might keep the reader waiting.
    if (!fs::is_regular_file(fs::symlink_status(path))) throw std::runtime_error("is no file");
    RunRecord read = readRunRecord(contentOf(path.string()));
    if (read.name != folder.filename()) throw std::runtime_error("is the record of another run");
    record = std::move(read);
  } catch (const std::system_error& error) {
    throw std::runtime_error(path.string() + ": cannot be read: " + error.code().message());
  } catch (const std::exception& error) {
    throw std::runtime_error(path.string() + ": " + error.what());
  }
}

void Run::setAside() const {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    if (name != kRecordName && !name.starts_with(kAttempt)) files.push_back(entry.path());
  }
  const fs::path aside = file((kAttempt + std::to_string(record.attempts)).c_str());
  fs::create_directory(aside);
  // The record first: with it, what is put aside counts at once.
  fs::copy_file(file(kRecordName), aside / kRecordName, fs::copy_options::overwrite_existing);
  for (const fs::path& each : files) fs::rename(each, aside / each.filename());
}

std::vector<Run> Run::attempts() const {
  std::vector<Run> attempts;
  for (const auto& entry : fs::directory_iterator(folder)) {
    if (!entry.path().filename().string().starts_with(kAttempt)) continue;
    try {
      attempts.push_back({entry.path(), readRunRecord(contentOf((entry.path() / kRecordName).string()))});
    } catch (const std::exception&) {
      continue;
    }
  }
  return attempts;
}

StateFolder::StateFolder(const fs::path& root) : m_root(fs::absolute(root).lexically_normal()) {
  if (!m_root.has_filename()) m_root = m_root.parent_path();
}

fs::path StateFolder::usualPlace() {
  if (geteuid() == 0) return "/var/lib/nvmepcissd/runs";
  const char* const state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && *state == '/') return fs::path(state) / "nvmepcissd/runs";
  const char* const home = std::getenv("HOME");
  if (home == nullptr || *home != '/')
    throw std::runtime_error("there is no home folder to keep runs in: name a folder with --state");
  return fs::path(home) / ".local/state/nvmepcissd/runs";
}

bool StateFolder::isName(const std::string& name) {
  constexpr std::size_t kLongest = 64;
  return !name.empty() && name.size() <= kLongest && isLetterOrDigit(name.front()) &&
         std::all_of(name.begin(), name.end(),
                     [](char c) { return isLetterOrDigit(c) || c == '-' || c == '_' || c == '.'; });
}

Run StateFolder::create(RunKind kind, const std::string& name) const {
  makeRoot(m_root);
  const RunList others = list();
  Run run{.folder = m_root / kDraft};
  fs::remove_all(run.folder);
  if (mkdir(run.folder.c_str(), kPrivate) != 0)
    throw std::system_error(errno, std::generic_category(), run.folder.string());
  run.record.kind = kind;
  run.record.sequence = others.runs.empty() ? 1 : others.runs.back().record.sequence + 1;
  run.record.began = timeNow();
  run.record.bootId = bootId();
  for (unsigned int number = 1;; ++number) {
    run.record.name = name.empty() ? nameMadeOfTime(number) : name;
    run.save();
    if (publish(run.folder, m_root / run.record.name)) break;
    if (!name.empty()) throw std::system_error(EEXIST, std::generic_category(), (m_root / name).string());
  }
  run.folder = m_root / run.record.name;
  return run;
}

std::optional<Run> StateFolder::find(const std::string& name) const {
  Run run{.folder = m_root / name};
  if (!isName(name) || !isRealFolder(run.folder)) return std::nullopt;
  run.load();
  return run;
}

RunList StateFolder::list() const {
  RunList found;
  std::error_code error;
  for (fs::directory_iterator entry(m_root, error), end; !error && entry != end; entry.increment(error)) {
    try {
      if (const auto run = find(entry->path().filename().string())) found.runs.push_back(*run);
    } catch (const std::runtime_error& problem) {
      found.problems.emplace_back(problem.what());
    }
  }
  if (error && error != std::errc::no_such_file_or_directory)
    found.problems.push_back(m_root.string() + ": cannot be read: " + error.message());
  std::sort(found.problems.begin(), found.problems.end());
  std::sort(found.runs.begin(), found.runs.end(), [](const Run& one, const Run& other) {
    return std::pair(one.record.sequence, one.record.name) <
           std::pair(other.record.sequence, other.record.name);
  });
  return found;
}

void StateFolder::prune(RunKind kind) const {
  std::vector<Run> finished = list().runs;
  std::erase_if(finished, [kind](const Run& run) {
    return run.record.kind != kind || run.record.phase != RunPhase::kDone;
  });
  for (std::size_t i = 0; i + kKept < finished.size(); ++i) {
    std::error_code ignored;
    fs::remove_all(finished[i].folder, ignored);
  }
}

}  // namespace tool
