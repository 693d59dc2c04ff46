#include "Drives.h"

#include <algorithm>

#include "Controller.h"

namespace nvme_linux {

namespace {

/// The drive's own facts, as far as it gives them.
void askDrive(Host& host, DriveFacts& facts) {
  Controller controller(host, facts.controller);
  const Controller::Silence silence(controller);
  if (!controller.open(Controller::Wait::kNo).isSuccess()) return;
  if (Identity identity{}; controller.identify(identity).isSuccess()) facts.identity = identity;
  if (FirmwareSlots slots{}; controller.readSlots(slots).isSuccess()) facts.slots = slots;
  if (Health health{}; controller.readHealth(health).isSuccess()) facts.health = health;
}

}  // namespace

std::string DriveFacts::stagedRevision() const {
  const unsigned int slot = slots ? slots->staged(runningRevision) : 0;
  return slot != 0 ? textOf(slots->revisionOf(slot)) : "";
}

std::vector<DriveFacts> readDrives(Host& host) {
  const std::vector<PciController> controllers = listControllers(host);
  std::vector<DriveFacts> drives(controllers.size());
  for (std::size_t i = 0; i < controllers.size(); ++i) {
    const PciController& controller = controllers[i];
    DriveFacts& facts = drives[i];
    facts.controller = controller;
    std::vector<std::string> ports;
    for (const PciController& other : controllers) {
      if (arePortsOfOneDrive(controller, other)) ports.push_back(other.name);
    }
    facts.uses = usesOf(host, ports, facts.areUsesComplete);
    std::erase(ports, controller.name);
    facts.siblings = std::move(ports);
    askDrive(host, facts);
    facts.runningRevision = facts.identity
                                ? textOf(facts.identity->revision)
                                : trimmed(host.attribute(controller.name, "firmware_rev").value_or(""));
  }
  return drives;
}

}  // namespace nvme_linux
