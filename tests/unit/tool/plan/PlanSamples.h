// Drives that a plan is made for: what the inventory lists and what the kernel knows of them.

#pragma once

#include <string>
#include <vector>

#include "Plan.h"

namespace tool {

inline const PciIds kModelA{"144d", "a80", "1028", "0"};
inline const PciIds kModelB{"1c5c", "174a", "1c5c", "1"};

/// As an inventory has it: padded, with the label before the serial number.
inline Record listed(const std::string& serial, const std::string& revision = "OLD",
                     const PciIds& pci = kModelA) {
  return {.pci = pci,
          .name = "Sample drive",
          .enumId = "Serial Number: " + serial,
          .componentType = "FRMW",
          .revision = revision + "  "};
}

/// A healthy, unused drive with two slots, of which the kernel knows everything.
inline DriveFacts known(const std::string& serial, int number, const PciIds& pci = kModelA) {
  return {.controller = "nvme" + std::to_string(number),
          .address = "0000:0" + std::to_string(number) + ":00.0",
          .pci = pci,
          .serial = serial,
          .model = "Model A",
          .revision = "OLD",
          .slots = DriveSlots{.revisions = {"OLD", ""}, .running = 1, .next = 0},
          .criticalWarning = 0,
          .areUsesComplete = true};
}

/// A file system on the drive, on an array with another healthy leg unless that is empty.
inline nvme_linux::DriveUse mountedOn(const DriveFacts& drive, const std::string& array) {
  nvme_linux::DriveUse use{.kind = nvme_linux::DriveUse::Kind::kMounted,
                           .device = drive.controller + "n1",
                           .place = "/srv",
                           .redundantThrough = array};
  if (!array.empty()) use.layers.push_back(array);
  return use;
}

/// The state of each drive, as "flash refused".
inline std::string states(const Plan& plan) {
  std::string words;
  for (const DriveVerdict& drive : plan.verdict.drives)
    words += (words.empty() ? "" : " ") + std::string(outcomeName(drive.state));
  return words;
}

}  // namespace tool
