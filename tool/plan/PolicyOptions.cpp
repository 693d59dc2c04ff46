#include "PolicyOptions.h"

#include <iostream>
#include <limits>
#include <system_error>

#include "CommandLine.h"
#include "FileContent.h"
#include "Identity.h"
#include "LocatedJson.h"
#include "TerminalText.h"

namespace tool {

namespace {

// A complaint for an option: an empty text when the value is one.

std::string complaintAboutRevision(const std::string& text) {
  return parseRevision(text) ? "" : "\"" + text + "\" is no revision of one to eight characters";
}

std::string complaintAboutSha256(const std::string& text) {
  return parseSha256(text) ? "" : "\"" + text + "\" is no checksum of 64 hexadecimal digits";
}

std::string complaintAboutSerial(const std::string& text) {
  return nvme_linux::trimmed(text).empty() ? "a serial number is empty" : "";
}

/// Throws FileError and std::system_error.
Policy policyOf(const PolicyOptions& options) {
  if (!options.file.empty()) return parsePolicy(contentOf(options.file), options.file);
  Policy policy;
  PolicyRule& rule = policy.rules.at(0);
  rule.to = parseRevision(options.to);
  for (const std::string& revision : options.from) rule.from.insert(nvme_linux::trimmed(revision));
  rule.sha256 = parseSha256(options.sha256);
  policy.expectDrives = options.expectDrives;
  policy.inUse = parseInUse(options.inUse).value_or(policy.inUse);
  for (const std::string& serial : options.serials) policy.serials.insert(nvme_linux::trimmed(serial));
  return policy;
}

}  // namespace

void addPolicyOptions(const Command& command, PolicyOptions& options) {
  const CommandOption file = command.addOption("--policy", options.file, "Policy file, - for standard input");
  const auto addOption = [&](const char* name, auto& value, const char* what) {
    return command.addOption(name, value, what).excludes(file).oneValueEach();
  };
  addOption("--to", options.to, "Revision that the drives are to run")
      .typeName("REVISION")
      .check(complaintAboutRevision);
  addOption("--from", options.from, "Flash only drives that run this revision; may be repeated")
      .typeName("REVISION")
      .check(complaintAboutRevision);
  addOption("--payload-sha256", options.sha256, "Checksum that the payload must have")
      .typeName("SHA256")
      .check(complaintAboutSha256);
  addOption("--expect-drives", options.expectDrives, "How many drives there must be")
      .typeName("NUMBER")
      .range(std::uint64_t{1}, std::uint64_t{std::numeric_limits<std::uint32_t>::max()});
  addOption("--in-use", options.inUse, "What becomes of drives in use: refuse, redundant (default) or allow")
      .typeName("RULE")
      .oneOf({"refuse", "redundant", "allow"});
  addOption("--serial", options.serials, "Flash only this drive; may be repeated")
      .typeName("SERIAL")
      .check(complaintAboutSerial);
}

std::optional<Policy> readPolicy(const PolicyOptions& options) {
  try {
    return policyOf(options);
  } catch (const FileError& error) {
    std::cerr << forTerminal(error.what()) << '\n';
  } catch (const std::system_error& error) {
    std::cerr << forTerminal(options.file) << ": cannot be read: " << error.code().message() << '\n';
  }
  return std::nullopt;
}

}  // namespace tool
