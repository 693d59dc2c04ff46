// Which drives an update may touch, as somebody decided before it: on the command line, or in a file that
// docs/schema/policy.json describes.

#pragma once

#include <cstddef>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Document.h"

namespace tool {

/// What becomes of a drive that something uses.
enum class InUse {
  kRefuse,     ///< it is left alone
  kRedundant,  ///< it is flashed while every volume on it has another healthy leg, one leg a run
  kAllow,      ///< it is flashed
};

/// What some drives are to run, and what it takes. Revisions have no padding.
struct PolicyRule {
  std::optional<PciIds> pci{};           ///< only drives with these ids; nothing: every drive
  std::optional<std::string> model{};    ///< and with this model number
  std::optional<std::string> to{};       ///< the revision to run; nothing: whatever the payload brings
  std::set<std::string> from{};          ///< revisions to flash from; empty: from any
  std::optional<std::string> payload{};  ///< file name of the payload; nothing: any
  std::optional<std::string> sha256{};   ///< of the payload, 64 hexadecimal digits in lower case
  std::string origin{};                  ///< where the rule stands, as "policy.json:12"; empty for options
};

struct Policy {
  /// Drives to which no rule applies are left alone. As it stands, every drive is to be flashed.
  std::vector<PolicyRule> rules{PolicyRule{}};
  std::optional<std::size_t> expectDrives{};  ///< how many drives there must be
  InUse inUse = InUse::kRedundant;
  std::set<std::string> serials{};  ///< only these drives; empty: all

  /// The rule for a drive: one with its ids and model number before one with its ids alone. An empty `model`
  /// is not known; ids decide then, unless several rules have them. Null when there is no such rule.
  const PolicyRule* ruleFor(const std::optional<PciIds>& pci, const std::string& model) const;
};

/// Reads a policy file. Throws FileError: what is not exactly as described is refused. `source` is the file's
/// name in messages.
Policy parsePolicy(std::string_view content, const std::string& source);

/// The digits of a SHA-256 checksum in lower case; nothing for any other text.
std::optional<std::string> parseSha256(std::string_view text);

/// The word's meaning, "refuse", "redundant" or "allow"; nothing for any other word.
std::optional<InUse> parseInUse(std::string_view word);

/// A firmware revision without the blanks around it; nothing for an empty text, or one that is longer than
/// the eight characters of a revision.
std::optional<std::string> parseRevision(std::string_view text);

}  // namespace tool
