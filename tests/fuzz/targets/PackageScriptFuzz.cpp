// The package check on a folder with nothing but an install script, which is the input.

#include <filesystem>
#include <string>
#include <string_view>

#include "FuzzSupport.h"
#include "PackageCheck.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kScript = "component/fwkitinstall.sh";

void writeScript(std::span<const std::uint8_t> content) {
  static const bool isFolderMade = (fuzz::Scratch::enter(), fs::create_directories("component"));
  PROMISE(isFolderMade);
  fuzz::Scratch::enter().write(kScript, content);
  fs::permissions(kScript, fs::perms::owner_all);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  writeScript({data, size});
  const std::string_view content(reinterpret_cast<const char*>(data), size);
  bool isReturnFound = false;
  for (const tool::Finding& finding : tool::checkPackage("component")) {
    PROMISE(!finding.problem.empty() && !finding.consequence.empty() && !finding.remedy.empty());
    if (finding.file.filename() != "fwkitinstall.sh") continue;
    PROMISE(finding.line >= 0 && static_cast<std::size_t>(finding.line) <= size + 1);
    isReturnFound |= finding.problem.find("carriage return") != std::string::npos;
  }
  const bool isProgram = content.starts_with(
      "\x7f"
      "ELF");
  PROMISE(isReturnFound == (!isProgram && content.find('\r') != std::string_view::npos));
  return 0;
}
