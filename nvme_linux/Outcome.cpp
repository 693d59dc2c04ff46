#include "Outcome.h"

#include <array>
#include <cstdio>
#include <system_error>

namespace nvme_linux {

namespace status {

namespace {

constexpr int kStatusMask = 0x7FF;
constexpr int kTypeMask = 0x700;
constexpr int kDoNotRetry = 0x4000;

constexpr int kTypePath = 0x300;
constexpr int kAborted = 0x007;
constexpr int kQueueDeleted = 0x008;

struct SName {
  int status;
  const char* name;
};

constexpr std::array kNames{
    SName{0x001, "Invalid Command Opcode"},
    SName{0x002, "Invalid Field in Command"},
    SName{0x004, "Data Transfer Error"},
    SName{0x005, "Commands Aborted due to Power Loss Notification"},
    SName{0x006, "Internal Error"},
    SName{kAborted, "Command Abort Requested"},
    SName{kQueueDeleted, "Command Aborted due to SQ Deletion"},
    SName{0x00B, "Invalid Namespace or Format"},
    SName{0x00C, "Command Sequence Error"},
    SName{0x015, "Operation Denied"},
    SName{0x01C, "Sanitize Failed"},
    SName{0x01D, "Sanitize In Progress"},
    SName{0x021, "Command Interrupted"},
    SName{0x022, "Transient Transport Error"},
    SName{0x023, "Command Prohibited by Command and Feature Lockdown"},
    SName{0x024, "Admin Command Media Not Ready"},
    SName{0x084, "Format In Progress"},
    SName{0x106, "Invalid Firmware Slot"},
    SName{0x107, "Invalid Firmware Image"},
    SName{0x109, "Invalid Log Page"},
    SName{kResetOwed, "Firmware Activation Requires Conventional Reset"},
    SName{0x110, "Firmware Activation Requires NVM Subsystem Reset"},
    SName{0x111, "Firmware Activation Requires Controller Level Reset"},
    SName{0x112, "Firmware Activation Requires Maximum Time Violation"},
    SName{0x113, "Firmware Activation Prohibited"},
    SName{0x114, "Overlapping Range"},
    SName{0x11E, "Boot Partition Write Prohibited"},
    SName{0x370, "Host Pathing Error"},
    SName{0x371, "Command Aborted By Host"},
};

const char* nameOf(int status) {
  for (const SName& known : kNames) {
    if (known.status == status) return known.name;
  }
  return "unnamed status";
}

}  // namespace

int statusOf(int result) {
  return result & kStatusMask;
}

bool isResetOwed(int result) {
  if (result < 0) return false;
  const int status = statusOf(result);
  return status == kResetOwed || status == 0x110 || status == 0x111;
}

bool mayRepeat(int result) {
  return result > 0 && (result & kDoNotRetry) == 0;
}

bool isLost(int result) {
  if (result < 0) return true;
  const int status = statusOf(result);
  return (status & kTypeMask) == kTypePath || status == kAborted || status == kQueueDeleted;
}

std::string describe(int result) {
  if (result < 0)
    return std::generic_category().message(-result) + " (errno " + std::to_string(-result) + ")";
  const int status = statusOf(result);
  std::array<char, 8> number{};
  static_cast<void>(std::snprintf(number.data(), number.size(), "0x%03X", static_cast<unsigned int>(status)));
  return std::string(nameOf(status)) + " (" + number.data() +
         ((result & kDoNotRetry) != 0 ? ", do not retry)" : ")");
}

}  // namespace status

}  // namespace nvme_linux
