#pragma once

#include <set>
#include <string>
#include <vector>

#include "ControllerList.h"
#include "SupportedDrives.h"

namespace nvme_linux {

/// Why callers are not given a controller.
struct LeftOut {
  PciController controller;
  std::string reason;       ///< for the administrator; never empty
  bool isIntended = false;  ///< the package or drives.allow leaves it out, rather than a defect
};

struct DriveSelection {
  std::vector<PciController> offered;  ///< with address and ids; sorted by bus, device and function
  std::vector<LeftOut> leftOut;
};

/// Which of the controllers callers are given: those that the package names and `allowed`, where there is
/// such a list, has. Callers name a drive by bus, device and function alone, so that one of several with the
/// same ones is offered only if it is the only one in PCI domain 0.
DriveSelection selectDrives(const std::vector<PciController>& controllers, const SupportedDrives& supported,
                            const std::optional<std::set<std::string>>& allowed);

}  // namespace nvme_linux
