#include "DriveJson.h"

#include <array>
#include <utility>

#include "VerdictJson.h"

namespace tool {

namespace {

using nlohmann::ordered_json;

const char* nameOf(nvme_linux::DriveUse::Kind kind) {
  using Kind = nvme_linux::DriveUse::Kind;
  switch (kind) {
    case Kind::kMounted:
      return "mounted";
    case Kind::kRootFileSystem:
      return "root";
    case Kind::kSwap:
      return "swap";
    case Kind::kMd:
      return "md";
    case Kind::kLvm:
      return "lvm";
    case Kind::kDm:
      return "dm";
    case Kind::kHolder:
      return "holder";
    case Kind::kUnknown:
      break;
  }
  return "unknown";
}

ordered_json orNull(const std::string& text) {
  return text.empty() ? ordered_json(nullptr) : ordered_json(text);
}

ordered_json orNull(unsigned int slot) {
  return slot == 0 ? ordered_json(nullptr) : ordered_json(slot);
}

ordered_json slotsJson(const DriveSlots& slots) {
  ordered_json revisions = ordered_json::array();
  for (const std::string& revision : slots.revisions) revisions.push_back(orNull(revision));
  return revisions;
}

ordered_json useJson(const nvme_linux::DriveUse& use) {
  return {{"kind", nameOf(use.kind)},
          {"device", use.device},
          {"layers", use.layers},
          {"place", orNull(use.place)},
          {"redundantThrough", orNull(use.redundantThrough)},
          {"text", use.text()}};
}

/// What is known of a drive's use. An empty list says that nothing uses it, which must be certain.
ordered_json usesJson(const DriveFacts& facts) {
  if (facts.uses.empty() && !facts.areUsesComplete) return nullptr;
  ordered_json uses = ordered_json::array();
  for (const nvme_linux::DriveUse& use : facts.uses) uses.push_back(useJson(use));
  return uses;
}

ordered_json orNull(const std::optional<bool>& fact) {
  return fact ? ordered_json(*fact) : ordered_json(nullptr);
}

void addFacts(ordered_json& drive, const DriveFacts& facts) {
  drive["node"] = "/dev/" + facts.controller;
  if (facts.slots) {
    drive["slots"] = slotsJson(*facts.slots);
    drive["runningSlot"] = orNull(facts.slots->running);
    drive["nextSlot"] = orNull(facts.slots->next);
  }
  if (facts.criticalWarning)
    drive["health"] = {{"criticalWarning", *facts.criticalWarning}, {"warnings", facts.warnings()}};
  drive["use"] = usesJson(facts);
  drive["redundant"] = orNull(facts.isRedundant());
  drive["inPackage"] = orNull(facts.isInPackage);
}

}  // namespace

std::string toJson(const Verdict& verdict, std::span<const DriveFacts* const> facts) {
  ordered_json json = jsonOf(verdict);
  std::size_t place = 0;
  for (ordered_json& drive : json["drives"]) {
    for (const char* const member :
         {"node", "slots", "runningSlot", "nextSlot", "health", "use", "redundant", "inPackage"})
      drive[member] = nullptr;
    if (const DriveFacts* const known = facts[place++]; known != nullptr) addFacts(drive, *known);
  }
  return textOf(json);
}

}  // namespace tool
