#include "Document.h"

namespace tool {

std::string_view Record::serialNumber() const {
  constexpr std::string_view kLabel = "Serial Number: ";
  const std::string_view id = enumId;
  return id.starts_with(kLabel) ? id.substr(kLabel.size()) : id;
}

std::string Record::pciText() const {
  if (pci.vendor.empty() && pci.device.empty()) return {};
  return pci.vendor + ":" + pci.device + " " + pci.subVendor + ":" + pci.subDevice;
}

std::string_view Record::trimmedRevision() const {
  const std::string_view text = revision;
  const std::size_t start = text.find_first_not_of(' ');
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(' ') + 1 - start);
}

const char* kindName(DocumentKind kind) {
  return kind == DocumentKind::kInventory ? "inventory" : "update";
}

const char* outcomeName(Outcome outcome) {
  switch (outcome) {
    case Outcome::kListed:
      return "listed";
    case Outcome::kSuccess:
      return "success";
    case Outcome::kFailed:
      break;
  }
  return "failed";
}

}  // namespace tool
