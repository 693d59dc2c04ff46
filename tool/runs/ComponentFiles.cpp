#include "ComponentFiles.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "DocumentReader.h"
#include "FileContent.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

fs::path withExtension(const fs::path& stem, const char* extension) {
  return stem.string() + extension;
}

/// For a person: how the component ended, with the first line that it printed.
std::string endOf(int status, const fs::path& output) {
  std::vector<std::string> ignored;
  const std::string printed = contentOf(output, ignored).value_or("");
  if (status == kComponentNotStarted && printed.empty()) return "the component cannot be started";
  const std::string line = printed.substr(0, printed.find('\n'));
  return "the inventory ended with " + std::to_string(status) + (line.empty() ? "" : ": " + line);
}

}  // namespace

ComponentCall callLeaving(const fs::path& stem, const fs::path& folder, const char* command,
                          const Environment& environment) {
  const fs::path document = withExtension(stem, ".xml");
  fs::remove(document);
  return {.executable = folder / "nvmepcissd",
          .workingFolder = folder,
          .arguments = {command, "-o", document.string(), "-d", withExtension(stem, ".log").string()},
          .output = withExtension(stem, ".out"),
          .environment = environment};
}

std::optional<std::string> contentOf(const fs::path& path, std::vector<std::string>& problems) {
  try {
    // A pipe would keep the reader waiting.
    if (std::error_code error; fs::is_fifo(path, error))
      throw std::system_error(EINVAL, std::generic_category());
    return contentOf(path.string());
  } catch (const std::system_error& error) {
    problems.push_back(path.string() + ": cannot be read: " + error.code().message());
    return std::nullopt;
  }
}

std::optional<Document> documentFrom(const fs::path& path, std::vector<std::string>& problems) {
  const std::optional<std::string> content = contentOf(path, problems);
  if (!content) return std::nullopt;
  Reading reading = readDocument(*content);
  if (!reading.problem.empty()) problems.push_back(path.string() + ": " + reading.problem);
  return std::move(reading.document);
}

std::optional<LoggedRun> logFrom(const fs::path& path, bool isUpdate, std::vector<std::string>& problems) {
  const std::optional<std::string> content = contentOf(path, problems);
  std::optional<LoggedRun> last;
  if (!content) return last;
  for (LoggedRun& run : parseDebugLog(*content)) {
    if (run.isUpdate == isUpdate) last = std::move(run);
  }
  return last;
}

InventoryTaken takeInventory(const fs::path& folder, const Environment& environment, const fs::path& stem) {
  const ComponentCall call = callLeaving(stem, folder, "-i", environment);
  const ComponentProcess process = ComponentProcess::start(call, /*blocksShutdown=*/false);
  const std::optional<int> status = process.wait(kInventoryLimit);
  InventoryTaken taken;
  if (!status) {
    taken.problems.push_back("the inventory has not ended within " + std::to_string(kInventoryLimit.count()) +
                             " seconds; it is left to itself");
    return taken;
  }
  if (*status != 0) taken.problems.push_back(endOf(*status, call.output));
  taken.document = documentFrom(withExtension(stem, ".xml"), taken.problems);
  if (taken.document && taken.document->kind != DocumentKind::kInventory) taken.document.reset();
  std::vector<std::string> ignored;
  if (const auto log = logFrom(withExtension(stem, ".log"), false, ignored)) {
    for (const LoggedTrouble& trouble : log->troubles)
      taken.problems.push_back(trouble.where + ": " + trouble.problem + "; " + trouble.remedy);
  }
  return taken;
}

}  // namespace tool
