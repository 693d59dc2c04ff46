#include "Document.h"

#include <array>

namespace tool {

namespace {

struct Word {
  const char* name;
  Tone tone;
};

/// In the order of the enumeration.
constexpr std::array<Word, 14> kWords{{{"listed", Tone::kNeutral},
                                       {"success", Tone::kGood},
                                       {"failed", Tone::kBad},
                                       {"updated", Tone::kGood},
                                       {"staged", Tone::kGood},
                                       {"current", Tone::kGood},
                                       {"unchanged", Tone::kWarning},
                                       {"stale", Tone::kBad},
                                       {"missing", Tone::kBad},
                                       {"untouched", Tone::kWarning},
                                       {"undecided", Tone::kWarning},
                                       {"flash", Tone::kNeutral},
                                       {"refused", Tone::kWarning},
                                       {"unhealthy", Tone::kWarning}}};

static_assert(kWords.size() == static_cast<std::size_t>(Outcome::kUnhealthy) + 1);

}  // namespace

std::string_view Record::serialNumber() const {
  // The component writes this label in front of a drive's serial number. Ids of other components have none.
  constexpr std::string_view kLabel = "Serial Number: ";
  const std::string_view id = enumId;
  return id.starts_with(kLabel) ? id.substr(kLabel.size()) : id;
}

std::string Record::pciText() const {
  if (pci.vendor.empty() && pci.device.empty()) return {};
  return pci.vendor + ":" + pci.device + " " + pci.subVendor + ":" + pci.subDevice;
}

std::string_view Record::latestRevision() const {
  // Drives fill their eight characters up with blanks. Two texts of one revision must compare as equal.
  const std::string_view text = newRevision.empty() ? revision : newRevision;
  const std::size_t start = text.find_first_not_of(' ');
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(' ') + 1 - start);
}

const char* kindName(DocumentKind kind) {
  switch (kind) {
    case DocumentKind::kInventory:
      return "inventory";
    case DocumentKind::kUpdate:
      return "update";
    case DocumentKind::kVerdict:
      break;
  }
  return "verdict";
}

const char* outcomeName(Outcome outcome) {
  return kWords.at(static_cast<std::size_t>(outcome)).name;
}

std::optional<Outcome> outcomeNamed(std::string_view name) {
  for (const Outcome outcome : allOutcomes()) {
    if (name == outcomeName(outcome)) return outcome;
  }
  return std::nullopt;
}

Tone toneOf(Outcome outcome) {
  return kWords.at(static_cast<std::size_t>(outcome)).tone;
}

bool isFailure(Outcome outcome) {
  return toneOf(outcome) == Tone::kBad;
}

std::span<const Outcome> allOutcomes() {
  static const auto kAll = [] {
    std::array<Outcome, kWords.size()> all{};
    for (std::size_t i = 0; i < all.size(); ++i) all.at(i) = static_cast<Outcome>(i);
    return all;
  }();
  return kAll;
}

}  // namespace tool
