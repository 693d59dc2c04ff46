// A debug log, read by the tool, judged alone and beside the documents that a run with such a log would
// leave.

#include <algorithm>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "DebugLog.h"
#include "Document.h"
#include "FuzzSupport.h"
#include "Verdict.h"
#include "VerdictText.h"
#include "Verification.h"

namespace {

void checkText(const tool::Verdict& verdict) {
  std::ostringstream text;
  tool::writeVerdict(text, verdict, {});
  const std::string shown = text.str();
  PROMISE(std::all_of(shown.begin(), shown.end(), [](char c) {
    return c == '\n' || (static_cast<unsigned char>(c) >= ' ' && c != '\x7f');
  }));
}

/// The result document that the component writes for the drives of the log.
tool::Document documentOf(const tool::LoggedRun& run, tool::DocumentKind kind) {
  tool::Document document{.kind = kind};
  for (const tool::LoggedDrive& drive : run.drives) {
    tool::Record record{.outcome = tool::Outcome::kSuccess,
                        .pci = {drive.vendor, drive.device, drive.subVendor, drive.subDevice},
                        .name = drive.name,
                        .enumId = "Serial Number: " + drive.serial,
                        .revision = drive.revision.value_or("")};
    if (drive.flash == tool::LoggedFlash::kRefused) record = {.outcome = tool::Outcome::kFailed};
    document.records.push_back(std::move(record));
  }
  return document;
}

void checkVerdict(const tool::LoggedRun& run, const tool::Verdict& verdict) {
  PROMISE(verdict.drives.size() >= run.drives.size());
  for (const tool::DriveVerdict& drive : verdict.drives) {
    PROMISE(drive.state != tool::Outcome::kUpdated || drive.before != drive.after);
  }
  PROMISE(tool::readVerdict(tool::toJson(verdict)).verdict.has_value());
  checkText(verdict);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (const tool::LoggedRun& run : tool::parseDebugLog(text)) {
    checkVerdict(run, tool::verify({.log = &run}));
    const tool::Document inventory = documentOf(run, tool::DocumentKind::kInventory);
    const tool::Document update = documentOf(run, tool::DocumentKind::kUpdate);
    checkVerdict(run,
                 tool::verify({.before = &inventory, .update = &update, .after = &inventory, .log = &run}));
  }
  return 0;
}
