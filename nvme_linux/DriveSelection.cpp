#include "DriveSelection.h"

#include <algorithm>
#include <tuple>

namespace nvme_linux {

namespace {

auto locationOf(const PciController& controller) {
  return std::tuple(controller.address->bus, controller.address->device, controller.address->function);
}

bool isElsewhereAtSameLocation(const PciController& one, const PciController& other) {
  return one.name != other.name && one.address && other.address && locationOf(one) == locationOf(other);
}

/// The controller that keeps callers from naming `controller` unmistakably; null when there is none. `others`
/// may hold it.
const PciController* rivalOf(const PciController& controller, const std::vector<PciController>& others) {
  const PciController* rival = nullptr;
  for (const PciController& other : others) {
    if (!isElsewhereAtSameLocation(controller, other)) continue;
    if (other.address == controller.address) return &other;
    if (controller.address->domain != 0 && (rival == nullptr || other.address->domain == 0)) rival = &other;
  }
  return rival;
}

std::string reasonFor(const PciController& controller, const PciController& rival) {
  if (rival.address == controller.address) return "another controller has the same PCI address";
  return "the drive at " + rival.addressText + " has the same bus, device and function";
}

}  // namespace

DriveSelection selectDrives(const std::vector<PciController>& controllers, const SupportedDrives& supported,
                            const std::optional<std::set<std::string>>& allowed) {
  DriveSelection selection;
  std::vector<PciController> candidates;
  std::vector<PciController> rivals;  // the candidates, and those that may be another drive of the package
  for (const PciController& controller : controllers) {
    if (!controller.address) {
      selection.leftOut.push_back({controller, "its PCI address cannot be read"});
    } else if (!controller.ids) {
      selection.leftOut.push_back({controller, "its PCI ids cannot be read"});
      rivals.push_back(controller);
    } else if (!supported.names(controller)) {
      selection.leftOut.push_back({controller, "package.xml does not name its model", true});
    } else if (allowed && !allowed->contains(controller.serial)) {
      selection.leftOut.push_back({controller, "drives.allow does not list its serial number", true});
    } else {
      candidates.push_back(controller);
      rivals.push_back(controller);
    }
  }
  for (const PciController& controller : candidates) {
    if (const PciController* const rival = rivalOf(controller, rivals)) {
      selection.leftOut.push_back({controller, reasonFor(controller, *rival)});
    } else {
      selection.offered.push_back(controller);
    }
  }
  std::sort(selection.offered.begin(), selection.offered.end(),
            [](const PciController& a, const PciController& b) { return locationOf(a) < locationOf(b); });
  return selection;
}

}  // namespace nvme_linux
