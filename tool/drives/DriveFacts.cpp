#include "DriveFacts.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <string_view>

#include "Drives.h"
#include "Joined.h"
#include "LinuxHost.h"
#include "SupportedDrives.h"

namespace tool {

namespace {

/// The system log is the daemon's; a command tells its reader instead.
class QuietHost : public nvme_linux::LinuxHost {
 public:
  void report(int /*priority*/, const std::string& /*line*/) override {}
};

std::string hexadecimal(std::uint16_t id) {
  std::array<char, 4> digits{};
  auto* const end = std::to_chars(digits.data(), digits.data() + digits.size(), id, 16).ptr;
  return {digits.data(), end};
}

std::optional<PciIds> idsOf(const nvme_linux::PciController& controller) {
  if (!controller.ids) return std::nullopt;
  return PciIds{.vendor = hexadecimal(controller.ids->vendor),
                .device = hexadecimal(controller.ids->device),
                .subVendor = hexadecimal(controller.ids->subVendor),
                .subDevice = hexadecimal(controller.ids->subDevice)};
}

/// The slots that the drive has; those that hold something, where it does not say how many that are.
std::optional<DriveSlots> slotsOf(const nvme_linux::DriveFacts& facts) {
  if (!facts.slots) return std::nullopt;
  const auto number = static_cast<unsigned int>(facts.slots->revisions.size());
  unsigned int count = facts.identity ? facts.identity->slots : 0;
  for (unsigned int slot = 1; slot <= number; ++slot) {
    if (!facts.slots->isEmpty(slot)) count = std::max(count, slot);
  }
  const unsigned int staged = facts.slots->staged(facts.runningRevision);
  DriveSlots slots{.running = facts.slots->running,
                   .next = facts.slots->next,
                   .isUpdateInProgress = facts.slots->isBusy(facts.runningRevision),
                   .isRunningSlotStaged = staged != 0 && staged == facts.slots->running};
  for (unsigned int slot = 1; slot <= std::min(count, number); ++slot)
    slots.revisions.push_back(nvme_linux::textOf(facts.slots->revisionOf(slot)));
  return slots;
}

DriveFacts plain(nvme_linux::DriveFacts facts) {
  std::optional<unsigned int> criticalWarning;
  if (facts.health) criticalWarning = facts.health->criticalWarning;
  return {.controller = facts.controller.name,
          .address = facts.controller.addressText,
          .pci = idsOf(facts.controller),
          .serial = facts.controller.serial,
          .model = facts.controller.model,
          .revision = facts.runningRevision,
          .siblings = std::move(facts.siblings),
          .slots = slotsOf(facts),
          .criticalWarning = criticalWarning,
          .uses = std::move(facts.uses),
          .areUsesComplete = facts.areUsesComplete};
}

}  // namespace

bool DriveSlots::isStaged() const {
  return next != 0 && (next != running || isRunningSlotStaged);
}

std::string DriveSlots::stagedRevision() const {
  return isStaged() && next <= revisions.size() ? revisions[next - 1] : "";
}

std::optional<bool> DriveFacts::isRedundant() const {
  if (!nvme_linux::areAllRedundant(uses)) return false;
  return areUsesComplete ? std::optional(true) : std::nullopt;
}

std::vector<std::string> DriveFacts::warnings() const {
  static constexpr std::array<std::string_view, 6> kBits{
      "spare below its threshold", "temperature outside its thresholds",   "reliability degraded",
      "media read-only",           "backup of the volatile memory failed", "persistent memory read-only"};
  std::vector<std::string> texts;
  unsigned int bits = criticalWarning.value_or(0);
  for (const std::string_view text : kBits) {
    if ((bits & 1U) != 0) texts.emplace_back(text);
    bits >>= 1U;
  }
  if (bits != 0) texts.emplace_back("a reserved bit is set");
  return texts;
}

std::string DriveFacts::ailment() const {
  if (criticalWarning.value_or(0) != 0) return "its SMART log has a critical warning: " + joined(warnings());
  return slots && slots->isUpdateInProgress ? "it says that an update of it is in progress" : "";
}

DriveList readDriveFacts(nvme_linux::Host& host, const std::filesystem::path& package) {
  DriveList list;
  std::optional<nvme_linux::SupportedDrives> supported;
  if (!package.empty()) {
    supported = nvme_linux::SupportedDrives::of(host, package);
    if (supported->models().empty())
      list.problems.push_back((package / "package.xml").string() + ": names no drive, or cannot be read");
  }
  for (nvme_linux::DriveFacts& found : nvme_linux::readDrives(host)) {
    const nvme_linux::PciController controller = found.controller;
    DriveFacts facts = plain(std::move(found));
    if (supported) {
      facts.isInPackage = supported->names(controller);
      facts.isUpdateAllowed = supported->allowsUpdateFrom(controller, facts.revision);
    }
    list.drives.push_back(std::move(facts));
  }
  return list;
}

DriveList readDriveFacts(const std::filesystem::path& package) {
  QuietHost host;
  return readDriveFacts(host, package);
}

}  // namespace tool
