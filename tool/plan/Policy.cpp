#include "Policy.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "Identity.h"
#include "LocatedJson.h"

namespace tool {

namespace {

constexpr std::string_view kDigits = "0123456789abcdefABCDEF";

bool isHexadecimal(std::string_view text) {
  return !text.empty() && text.find_first_not_of(kDigits) == std::string_view::npos;
}

std::string inLowerCase(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

/// An id as result documents have it; nothing for what is no number of 16 bits.
std::optional<std::string> parseId(std::string_view text) {
  constexpr std::size_t kLength = 4;
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  if (text.size() > kLength || !isHexadecimal(text)) return std::nullopt;
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size() - 1));
  return inLowerCase(text);
}

PciIds readIds(const LocatedValue& value, const std::string& source) {
  LocatedObject object(value, source, "pci");
  const auto id = [&](const char* key) {
    const LocatedValue& written = object.require(key);
    const auto number = parseId(object.text(key).value_or(""));
    if (!number) object.refuse(written.line, std::string(key) + " is no hexadecimal number of 16 bits");
    return *number;
  };
  PciIds ids{.vendor = id("vendor"),
             .device = id("device"),
             .subVendor = id("subVendor"),
             .subDevice = id("subDevice")};
  object.finish();
  return ids;
}

/// A text that is not blank, without the blanks around it.
std::optional<std::string> readText(LocatedObject& object, const std::string& key) {
  const std::optional<std::string> text = object.text(key);
  if (!text) return std::nullopt;
  std::string trimmed = nvme_linux::trimmed(*text);
  if (trimmed.empty()) object.refuse(object.find(key)->line, key + " is empty");
  return trimmed;
}

/// The texts of an array that has none of them twice, as `parse` reads them.
template <class Parse>
std::set<std::string> readSet(LocatedObject& object, const std::string& key, const char* complaint,
                              Parse parse) {
  std::set<std::string> set;
  for (const LocatedValue& item : object.items(key)) {
    if (item.kind != LocatedValue::Kind::kText) object.refuse(item.line, key + " holds what is no text");
    const std::optional<std::string> text = parse(item.text);
    if (!text) object.refuse(item.line, key + complaint);
    if (!set.insert(*text).second) object.refuse(item.line, key + " has \"" + *text + "\" twice");
  }
  return set;
}

PolicyRule readRule(const LocatedValue& value, const std::string& source) {
  LocatedObject object(value, source, "model");
  PolicyRule rule{.origin = source + ":" + std::to_string(value.line)};
  rule.pci = readIds(object.require("pci"), source);
  rule.model = readText(object, "model");
  const LocatedValue& to = object.require("to");
  rule.to = parseRevision(object.text("to").value_or(""));
  if (!rule.to) object.refuse(to.line, "to is no revision of one to eight characters");
  rule.from = readSet(object, "from", " has what is no revision of one to eight characters", parseRevision);
  rule.payload = readText(object, "payload");
  if (const auto written = object.text("sha256")) {
    rule.sha256 = parseSha256(*written);
    if (!rule.sha256)
      object.refuse(object.find("sha256")->line, "sha256 is no checksum of 64 hexadecimal digits");
  }
  object.finish();
  return rule;
}

std::vector<PolicyRule> readRules(LocatedObject& object, const std::string& source) {
  std::vector<PolicyRule> rules;
  for (const LocatedValue& value : object.items("models")) {
    PolicyRule rule = readRule(value, source);
    const auto twin = std::find_if(rules.begin(), rules.end(), [&](const PolicyRule& other) {
      return other.pci == rule.pci && other.model == rule.model;
    });
    if (twin != rules.end()) object.refuse(value.line, "the same model stands in " + twin->origin);
    rules.push_back(std::move(rule));
  }
  return rules;
}

InUse readInUse(LocatedObject& object, InUse otherwise) {
  const auto word = object.text("inUse");
  if (!word) return otherwise;
  const auto inUse = parseInUse(*word);
  if (!inUse) object.refuse(object.find("inUse")->line, "inUse is not refuse, redundant or allow");
  return *inUse;
}

std::optional<std::size_t> readExpectDrives(LocatedObject& object) {
  const auto count = object.count("expectDrives");
  if (count && (*count == 0 || *count > std::numeric_limits<std::uint32_t>::max()))
    object.refuse(object.find("expectDrives")->line, "expectDrives is no number of drives");
  return count;
}

std::optional<std::string> parseSerial(std::string_view text) {
  std::string serial = nvme_linux::trimmed(text);
  return serial.empty() ? std::nullopt : std::optional(std::move(serial));
}

}  // namespace

const PolicyRule* Policy::ruleFor(const std::optional<PciIds>& pci, const std::string& model) const {
  const PolicyRule* general = nullptr;
  const PolicyRule* unsure = nullptr;
  std::size_t candidates = 0;
  for (const PolicyRule& rule : rules) {
    if (rule.pci && rule.pci != pci) continue;
    ++candidates;
    if (!rule.model) {
      general = &rule;
    } else if (model.empty()) {
      unsure = &rule;
    } else if (*rule.model == model) {
      return &rule;
    }
  }
  if (unsure != nullptr) return candidates == 1 ? unsure : nullptr;
  return general;
}

Policy parsePolicy(std::string_view content, const std::string& source) {
  const LocatedValue value = parseLocated(content, source);
  LocatedObject object(value, source, "the policy");
  Policy policy;
  object.text("$schema");  // for editors
  if (object.find("models") != nullptr) policy.rules = readRules(object, source);
  policy.expectDrives = readExpectDrives(object);
  policy.inUse = readInUse(object, policy.inUse);
  policy.serials = readSet(object, "serials", " has an empty serial number", parseSerial);
  object.finish();
  return policy;
}

std::optional<std::string> parseSha256(std::string_view text) {
  constexpr std::size_t kLength = 64;
  if (text.size() != kLength || !isHexadecimal(text)) return std::nullopt;
  return inLowerCase(text);
}

std::optional<InUse> parseInUse(std::string_view word) {
  static constexpr std::array<std::pair<std::string_view, InUse>, 3> kWords{
      {{"refuse", InUse::kRefuse}, {"redundant", InUse::kRedundant}, {"allow", InUse::kAllow}}};
  const auto* const found =
      std::find_if(kWords.begin(), kWords.end(), [&](const auto& known) { return known.first == word; });
  return found == kWords.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::string> parseRevision(std::string_view text) {
  constexpr std::size_t kLongest = 8;
  std::string revision = nvme_linux::trimmed(text);
  if (revision.empty() || revision.size() > kLongest) return std::nullopt;
  return revision;
}

}  // namespace tool
