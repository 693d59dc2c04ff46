#include "PlanInventory.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <string_view>
#include <system_error>
#include <utility>

#include "BoundedRun.h"
#include "Results.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr std::chrono::minutes kLimit{15};

class TemporaryFolder {
 public:
  TemporaryFolder() : m_path(fs::temp_directory_path() / "nvmepcissd-plan-XXXXXX") {
    std::string name = m_path;
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    m_path = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const fs::path& path() const { return m_path; }

 private:
  fs::path m_path;
};

/// The settings of the simulator's stand-ins go through; nothing else reads them.
std::vector<std::string> environmentOfComponent() {
  constexpr std::array<std::string_view, 3> kStandIns{"NVME_SIMULATOR_", "RBKL_SIMULATOR_", "FWKIT_"};
  std::vector<std::string> environment{"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                                       "LC_ALL=C"};
  for (char** variable = environ; *variable != nullptr; ++variable) {
    for (const std::string_view prefix : kStandIns) {
      if (std::string_view(*variable).starts_with(prefix)) environment.emplace_back(*variable);
    }
  }
  return environment;
}

/// Empty when the component has ended with 0.
std::string problemOf(const BoundedRun& run) {
  const std::string output = run.output.empty() ? "" : ": " + run.output.substr(0, run.output.find('\n'));
  switch (run.end) {
    case BoundedRun::End::kExited:
      return run.status == 0 ? "" : "the component ended with status " + std::to_string(run.status) + output;
    case BoundedRun::End::kSignalled:
      return "signal " + std::to_string(run.status) + " ended the component" + output;
    case BoundedRun::End::kTimedOut:
      return "the inventory took too long and was ended";
    case BoundedRun::End::kNotStarted:
      break;
  }
  return "the component cannot be started: " + std::generic_category().message(run.status);
}

}  // namespace

PlanInventory inventoryForPlan(const fs::path& folder) {
  PlanInventory inventory;
  const TemporaryFolder scratch;
  const std::string document = scratch.path() / "inventory.xml";
  // The install script lays out files of the system.
  const mode_t before = umask(S_IWGRP | S_IWOTH);
  const BoundedRun run =
      runBounded({folder / "nvmepcissd", "-i", "-o", document}, environmentOfComponent(), folder, kLimit);
  umask(before);
  if (std::string problem = problemOf(run); !problem.empty())
    inventory.problems.push_back(std::move(problem));
  if (run.end == BoundedRun::End::kNotStarted) return inventory;

  Results results = readResults({document});
  for (const UnreadableFile& file : results.unreadable)
    inventory.problems.push_back("the inventory cannot be read: " + file.problem);
  for (ResultFile& file : results.files) {
    if (!file.notWellFormed.empty())
      inventory.problems.push_back("the inventory is not well-formed: " + file.notWellFormed);
    inventory.records = std::move(file.document.records);
  }
  return inventory;
}

}  // namespace tool
