#pragma once

#include <span>
#include <vector>

#include "Document.h"
#include "DriveFacts.h"

namespace tool {

/// What the kernel knows of the drive of a record.
struct DriveMatch {
  const DriveFacts* facts = nullptr;  ///< null when the kernel does not know the drive, and when ambiguous
  bool isAmbiguous = false;           ///< the kernel knows several that it may be
};

/// One match for each record, by serial number and PCI ids. Records with the same ones, or without a serial
/// number, are taken in order where the kernel knows as many such drives: records stand in the order of bus,
/// device and function. Fewer records than ports of one drive are no matter. Matches point into `kernel`.
std::vector<DriveMatch> matchDrives(std::span<const Record> records, std::span<const DriveFacts> kernel);

/// Whether both are one drive, which has several controllers then.
bool areOneDrive(const DriveFacts& one, const DriveFacts& other);

}  // namespace tool
