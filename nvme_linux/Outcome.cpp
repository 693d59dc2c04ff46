#include "Outcome.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace nvme_linux {

namespace {

constexpr int kStatusMask = 0x7FF;  // SCT and SC
constexpr int kTypeMask = 0x700;    // SCT
constexpr int kPathRelated = 0x300;
constexpr int kDoNotRetry = 0x4000;

struct StatusName {
  int status;
  const char* name;
};

/// What drives are known to answer to the commands that the library sends.
constexpr std::array kNames{
    StatusName{0x001, "Invalid Command Opcode"},
    StatusName{0x002, "Invalid Field in Command"},
    StatusName{0x004, "Data Transfer Error"},
    StatusName{0x005, "Commands Aborted due to Power Loss Notification"},
    StatusName{0x006, "Internal Error"},
    StatusName{0x007, "Command Abort Requested"},
    StatusName{0x008, "Command Aborted due to SQ Deletion"},
    StatusName{0x00B, "Invalid Namespace or Format"},
    StatusName{0x00C, "Command Sequence Error"},
    StatusName{0x015, "Operation Denied"},
    StatusName{0x01C, "Sanitize Failed"},
    StatusName{0x01D, "Sanitize In Progress"},
    StatusName{0x021, "Command Interrupted"},
    StatusName{0x022, "Transient Transport Error"},
    StatusName{0x023, "Command Prohibited by Command and Feature Lockdown"},
    StatusName{0x024, "Admin Command Media Not Ready"},
    StatusName{0x084, "Format In Progress"},
    StatusName{0x106, "Invalid Firmware Slot"},
    StatusName{0x107, "Invalid Firmware Image"},
    StatusName{0x109, "Invalid Log Page"},
    StatusName{0x10B, "Firmware Activation Requires Conventional Reset"},
    StatusName{0x110, "Firmware Activation Requires NVM Subsystem Reset"},
    StatusName{0x111, "Firmware Activation Requires Controller Level Reset"},
    StatusName{0x112, "Firmware Activation Requires Maximum Time Violation"},
    StatusName{0x113, "Firmware Activation Prohibited"},
    StatusName{0x114, "Overlapping Range"},
    StatusName{0x11E, "Boot Partition Write Prohibited"},
    StatusName{0x370, "Host Pathing Error"},
    StatusName{0x371, "Command Aborted By Host"},
};

Status statusOf(int statusField) {
  return static_cast<Status>(statusField & kStatusMask);
}

const char* nameOf(int status) {
  for (const StatusName& known : kNames) {
    if (known.status == status) return known.name;
  }
  return "unnamed status";
}

/// The drive has looked at image, slot or activation and found against it. A repeat would only find the same.
bool isDeterministic(Status status) {
  return status == Status::kInvalidFirmwareSlot || status == Status::kInvalidFirmwareImage ||
         status == Status::kMaximumTimeViolation || status == Status::kActivationProhibited ||
         status == Status::kOverlappingRange;
}

/// The kinds of reset differ in what has to be reset; callers learn only that one is due.
bool owesReset(Status status) {
  return status == Status::kRequiresConventionalReset || status == Status::kRequiresSubsystemReset ||
         status == Status::kRequiresControllerReset;
}

}  // namespace

Outcome Outcome::of(const Completion& completion) {
  if (completion.error != 0) return failed(completion.error);
  // DNR, M and CRD may accompany success, too.
  return statusOf(completion.statusField) == Status::kSuccess ? success() : refused(completion.statusField);
}

Outcome Outcome::ofCommit(const Completion& completion) {
  const bool isOwed = completion.error == 0 && owesReset(statusOf(completion.statusField));
  return isOwed ? resetOwed() : of(completion);
}

Status Outcome::status() const {
  return statusOf(m_number);
}

bool Outcome::isFinal() const {
  return m_kind == Kind::kRefused && (m_number & kDoNotRetry) != 0;
}

bool Outcome::mayBeRepeated() const {
  return m_kind == Kind::kRefused && !isFinal() && !isDeterministic(status());
}

bool Outcome::isLost() const {
  if (m_kind != Kind::kRefused) return m_kind == Kind::kFailed;
  return (m_number & kTypeMask) == kPathRelated || status() == Status::kCommandAbortRequested ||
         status() == Status::kAbortedBySqDeletion;
}

int Outcome::code() const {
  constexpr int kCommittedAndResetOwed = 267;
  switch (m_kind) {
    case Kind::kSuccess:
      return 0;
    case Kind::kResetOwed:
      return kCommittedAndResetOwed;
    case Kind::kRefused:
      return (m_number & kStatusMask) == kCommittedAndResetOwed ? -EPROTO : m_number & kStatusMask;
    case Kind::kFailed:
      break;
  }
  return -m_number;
}

std::string Outcome::text() const {
  if (m_kind == Kind::kFailed)
    return std::generic_category().message(m_number) + " (errno " + std::to_string(m_number) + ")";
  if (m_kind != Kind::kRefused) return m_kind == Kind::kResetOwed ? "success, a reset is owed" : "success";
  std::array<char, 8> number{};
  static_cast<void>(std::snprintf(number.data(), number.size(), "0x%03X",
                                  static_cast<unsigned int>(m_number & kStatusMask)));
  return std::string(nameOf(m_number & kStatusMask)) + " (" + number.data() +
         ((m_number & kDoNotRetry) != 0 ? ", do not retry)" : ")");
}

}  // namespace nvme_linux
