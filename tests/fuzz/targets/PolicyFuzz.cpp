// A policy file, read by the tool: it is what its description says, or refused with a line of the file.

#include <algorithm>
#include <string>
#include <string_view>

#include "FuzzSupport.h"
#include "LocatedJson.h"
#include "Policy.h"

namespace {

void checkRule(const tool::PolicyRule& rule) {
  PROMISE(rule.pci && rule.to && tool::parseRevision(*rule.to) == rule.to);
  PROMISE(!rule.sha256 || tool::parseSha256(*rule.sha256) == rule.sha256);
  PROMISE(std::all_of(rule.from.begin(), rule.from.end(),
                      [](const std::string& revision) { return tool::parseRevision(revision) == revision; }));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string content(data, data + size);
  const auto lines = std::count(content.begin(), content.end(), '\n') + 1;
  try {
    const tool::Policy policy = tool::parsePolicy(content, "p");
    PROMISE(!policy.expectDrives || *policy.expectDrives > 0);
    PROMISE(!policy.serials.contains(""));
    const bool isOfModels = policy.rules.size() != 1 || policy.rules[0].pci;
    if (isOfModels) std::for_each(policy.rules.begin(), policy.rules.end(), checkRule);
    for (const tool::PolicyRule& rule : policy.rules) {
      const tool::PolicyRule* const found = policy.ruleFor(rule.pci, rule.model.value_or("?"));
      PROMISE(!rule.pci || (found != nullptr && found->pci == rule.pci));
    }
  } catch (const tool::FileError& error) {
    const std::string_view text = error.what();
    PROMISE(text.starts_with("p:"));
    const long line = std::stol(std::string(text.substr(2)));
    PROMISE(line >= 1 && line <= lines);
  }
  return 0;
}
