#include "DriveMatch.h"

#include <algorithm>
#include <map>
#include <string>
#include <tuple>

namespace tool {

namespace {

/// What drives are told apart by.
using Key = std::tuple<std::string, std::string, std::string, std::string, std::string>;

Key keyOf(std::string_view serial, const PciIds& pci) {
  return {std::string(serial), pci.vendor, pci.device, pci.subVendor, pci.subDevice};
}

/// Bus, device and function, which all addresses write with the same number of digits.
std::string_view locationOf(const DriveFacts& facts) {
  const std::string_view address = facts.address;
  return address.substr(address.find(':') + 1);
}

bool areAllOneDrive(const std::vector<const DriveFacts*>& facts) {
  return std::all_of(facts.begin(), facts.end(),
                     [&](const DriveFacts* one) { return areOneDrive(*facts.front(), *one); });
}

}  // namespace

std::vector<DriveMatch> matchDrives(std::span<const Record> records, std::span<const DriveFacts> kernel) {
  std::map<Key, std::vector<const DriveFacts*>> known;
  for (const DriveFacts& facts : kernel) {
    if (facts.pci) known[keyOf(facts.serial, *facts.pci)].push_back(&facts);
  }
  std::map<Key, std::vector<std::size_t>> wanted;
  for (std::size_t i = 0; i < records.size(); ++i) {
    // A failed record says nothing of its drive.
    if (records[i].outcome != Outcome::kFailed)
      wanted[keyOf(records[i].serialNumber(), records[i].pci)].push_back(i);
  }

  std::vector<DriveMatch> matches(records.size());
  for (const auto& [key, places] : wanted) {
    const auto found = known.find(key);
    if (found == known.end()) continue;
    std::vector<const DriveFacts*>& facts = found->second;
    std::stable_sort(facts.begin(), facts.end(), [](const DriveFacts* a, const DriveFacts* b) {
      return locationOf(*a) < locationOf(*b);
    });
    const bool isInOrder = places.size() == facts.size();
    const bool isOne = places.size() < facts.size() && areAllOneDrive(facts);
    for (std::size_t i = 0; i < places.size(); ++i) {
      DriveMatch& match = matches[places[i]];
      if (isInOrder || isOne) match.facts = facts[i];
      match.isAmbiguous = match.facts == nullptr;
    }
  }
  return matches;
}

bool areOneDrive(const DriveFacts& one, const DriveFacts& other) {
  return one.controller == other.controller ||
         std::find(one.siblings.begin(), one.siblings.end(), other.controller) != one.siblings.end();
}

}  // namespace tool
