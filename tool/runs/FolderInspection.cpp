#include "FolderInspection.h"

#include "Checks.h"
#include "PackageCheck.h"
#include "Selection.h"

namespace tool {

FolderInspection inspectFolder(const std::filesystem::path& folder) {
  FolderInspection inspection{.obeysList = Package(folder).hasOwnLibrary()};
  for (const Finding& finding : select(checkPackage(folder), folder, {})) {
    const std::string line = finding.line > 0 ? ':' + std::to_string(finding.line) : "";
    const std::string text = finding.file.string() + line + ": " + finding.problem + "; " + finding.remedy;
    if (finding.kind->severity == Severity::kError) inspection.errors.push_back(text);
    if (finding.kind->severity == Severity::kWarning) inspection.warnings.push_back(text);
  }
  return inspection;
}

}  // namespace tool
