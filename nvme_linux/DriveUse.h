#pragma once

#include <string>
#include <vector>

#include "Host.h"

namespace nvme_linux {

/// One thing that uses a drive.
struct DriveUse {
  enum class Kind {
    kMounted,         ///< a file system, also one of several devices
    kRootFileSystem,  ///< likewise, the one that the system runs from
    kSwap,
    kMd,       ///< a Linux software RAID array that nothing here is seen to use
    kLvm,      ///< a logical volume, likewise
    kDm,       ///< any other device-mapper device, likewise: encryption, multipath
    kHolder,   ///< any other block device that lies on it, such as a cache
    kUnknown,  ///< something holds it exclusively: a ZFS pool, a program, a mount in another container
  };

  Kind kind = Kind::kUnknown;
  std::string device{};  ///< the namespace or partition: "nvme0n1p1"
  std::vector<std::string>
      layers{};         ///< the block devices between it and the user, lowest first: "md0", "dm-1"
  std::string place{};  ///< where a file system is mounted; empty for the other kinds

  /// The lowest array among `layers` that has another healthy leg, so that the data survives this drive's
  /// absence; empty when there is none. Only one leg of an array can be missed at a time.
  std::string redundantThrough{};

  bool isRedundant() const { return !redundantThrough.empty(); }

  /// For people: "nvme0n1p1 through md0: mounted on /srv, redundant".
  std::string text() const;
};

/// Everything that uses the namespaces of the controllers, which must be all those of one drive. Found in
/// sysfs (namespaces, the heads of multipath, partitions, holders), the mounts, the swap areas and, where
/// those show nothing, by opening the block device exclusively for a moment.
///
/// `isComplete` becomes false when that could not be done everywhere: without root, or without a device node.
std::vector<DriveUse> usesOf(Host& host, const std::vector<std::string>& controllers, bool& isComplete);

/// True while every use has another healthy leg; true for an unused drive.
bool areAllRedundant(const std::vector<DriveUse>& uses);

}  // namespace nvme_linux
