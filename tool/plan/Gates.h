// Why a single drive must not be flashed.

#pragma once

#include <optional>
#include <string>

#include "Document.h"
#include "DriveFacts.h"
#include "DriveMatch.h"
#include "Payload.h"
#include "Policy.h"

namespace tool {

struct Refusal {
  Outcome state = Outcome::kRefused;  ///< kRefused or kUnhealthy
  std::string reason{};               ///< for a person
};

/// What the gates look at.
struct GatedDrive {
  const Record& record;
  const DriveMatch& match;
  const PolicyRule* rule;       ///< the one that applies; null when none does
  const std::string& revision;  ///< that it runs; empty when nobody knows
  bool isCurrent;               ///< it runs what it is to run, and may be flashed again beside others
};

/// The first gate that the drive does not pass, in this order: what the policy is for, the drive's health,
/// the revision that it runs, what uses it. Nothing when it passes all of them. `obeysPackage` is true for a
/// drive library that heeds fromRevision in package.xml.
std::optional<Refusal> refusalOf(const GatedDrive& drive, const Policy& policy, const Payload& payload,
                                 bool obeysPackage);

/// True when the rule is for another file than the payload, by name, or where it names none by checksum.
bool isForAnotherPayload(const PolicyRule& rule, const Payload& payload);

/// True when the rule is for this payload, whose checksum is another one: the file is not what was meant.
bool hasWrongChecksum(const PolicyRule& rule, const Payload& payload);

}  // namespace tool
