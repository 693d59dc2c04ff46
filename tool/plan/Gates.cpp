#include "Gates.h"

#include <algorithm>
#include <filesystem>

#include "Joined.h"

namespace tool {

namespace {

std::optional<Refusal> refused(std::string reason) {
  return Refusal{.reason = std::move(reason)};
}

bool isOtherChecksum(const PolicyRule& rule, const Payload& payload) {
  return rule.sha256 && *rule.sha256 != payload.sha256;
}

/// Whether the policy is for this drive at all.
std::optional<Refusal> outOfScope(const GatedDrive& drive, const Policy& policy, const Payload& payload) {
  if (drive.record.outcome == Outcome::kFailed) {
    return refused("the inventory could not read it, and does not say which drive it is: " +
                   drive.record.message);
  }
  if (drive.match.isAmbiguous)
    return refused("the kernel knows several drives with its serial number, and nothing tells which it is");
  if (!policy.serials.empty() && !policy.serials.contains(std::string(drive.record.serialNumber())))
    return refused("its serial number is not among those that the policy is for");
  if (drive.rule == nullptr) return refused("the policy has no rule for its model");
  if (isForAnotherPayload(*drive.rule, payload)) {
    const std::string name = drive.rule->payload ? ": " + *drive.rule->payload : "";
    return refused("the policy has another payload for its model" + name + " (" + drive.rule->origin + ")");
  }
  return std::nullopt;
}

std::optional<Refusal> unhealthy(const DriveFacts& facts) {
  if (std::string ailment = facts.ailment(); !ailment.empty())
    return Refusal{Outcome::kUnhealthy, std::move(ailment)};
  if (!facts.criticalWarning)
    return refused("it does not tell its health, which needs root and a drive that answers");
  return std::nullopt;
}

std::optional<Refusal> fromElsewhere(const GatedDrive& drive, bool obeysPackage) {
  const std::set<std::string>& from = drive.rule->from;
  const std::string runs = drive.revision.empty() ? "nobody knows what it runs" : "it runs " + drive.revision;
  // The revisions to update from need not name the one to update to.
  if (!from.empty() && !drive.isCurrent && !from.contains(drive.revision))
    return refused(runs + ", and the policy updates only from " + joined(from));
  const DriveFacts* const facts = drive.match.facts;
  if (obeysPackage && facts != nullptr && facts->isUpdateAllowed == false)
    return refused(runs + ", and package.xml allows no update from that");
  return std::nullopt;
}

std::optional<Refusal> inUse(const DriveFacts& facts, InUse policy) {
  if (policy == InUse::kAllow) return std::nullopt;
  const auto bad = std::find_if(facts.uses.begin(), facts.uses.end(), [&](const nvme_linux::DriveUse& use) {
    return policy == InUse::kRefuse || !use.isRedundant();
  });
  if (bad != facts.uses.end()) {
    const char* const why =
        policy == InUse::kRefuse ? "it is in use: " : "no other healthy leg holds what uses it: ";
    return refused(why + bad->text());
  }
  if (!facts.areUsesComplete) return refused("nobody can tell what uses it without root");
  return std::nullopt;
}

}  // namespace

std::optional<Refusal> refusalOf(const GatedDrive& drive, const Policy& policy, const Payload& payload,
                                 bool obeysPackage) {
  const DriveFacts* const facts = drive.match.facts;
  std::optional<Refusal> refusal = outOfScope(drive, policy, payload);
  if (!refusal && facts != nullptr) refusal = unhealthy(*facts);
  if (!refusal) refusal = fromElsewhere(drive, obeysPackage);
  if (!refusal && facts != nullptr) refusal = inUse(*facts, policy.inUse);
  return refusal;
}

bool isForAnotherPayload(const PolicyRule& rule, const Payload& payload) {
  if (rule.payload) return std::filesystem::path(*rule.payload).filename() != payload.name;
  return rule.pci && isOtherChecksum(rule, payload);
}

bool hasWrongChecksum(const PolicyRule& rule, const Payload& payload) {
  return isOtherChecksum(rule, payload) && !isForAnotherPayload(rule, payload);
}

}  // namespace tool
