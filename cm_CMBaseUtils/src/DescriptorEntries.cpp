#include "DescriptorEntries.h"

namespace descriptor {

namespace {

/// Looks for the name of `entry` after its PCIInfo. One Display thus names every PCIInfo between it and the
/// Display before it.
void readDisplay(Entry& entry) {
  for (const xmlNode* sibling = entry.pciInfo->next; sibling != nullptr; sibling = sibling->next) {
    if (!libxml::isNamed(sibling, "Display")) continue;
    ++entry.displaysPassed;
    if (libxml::firstText(sibling) == nullptr) continue;
    entry.display = sibling;
    entry.hasOwnDisplay = true;
    return;
  }
}

}  // namespace

void readIds(const xmlNode* pciInfo, Ids& ids) {
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (const xmlAttr* const written = libxml::attributeNode(pciInfo, kIdNames.at(i))) ids.at(i) = written;
  }
}

std::string zeroFilled(const char* id) {
  constexpr std::size_t kWidth = 4;
  if (id == nullptr) return {};
  std::string filled = id;
  if (filled.size() < kWidth) filled.insert(0, kWidth - filled.size(), '0');
  return filled;
}

const xmlNode* Entry::idOrigin(Id which) const {
  const xmlAttr* const written = ids.at(which);
  return written == nullptr ? nullptr : written->parent;
}

const char* Entry::name() const {
  return display == nullptr ? "" : libxml::firstText(display);
}

std::vector<Entry> entries(std::span<xmlNode* const> devices) {
  std::vector<Entry> found;
  // For the whole walk. Neither is ever cleared: that is how an entry inherits.
  Ids ids{};
  const xmlNode* display = nullptr;
  for (const xmlNode* device : devices) {
    for (const xmlNode* child = device->children; child != nullptr; child = child->next) {
      if (!libxml::isNamed(child, "PCIInfo")) continue;
      readIds(child, ids);
      Entry& entry = found.emplace_back(Entry{.pciInfo = child, .ids = ids, .display = display});
      readDisplay(entry);
      display = entry.display;
    }
  }
  return found;
}

}  // namespace descriptor
