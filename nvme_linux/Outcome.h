// How an admin command, or a whole update, ended. Statuses and their names are those of the NVM Express base
// standard.

#pragma once

#include <cstdint>
#include <string>

namespace nvme_linux {

/// Status code type (SCT) in bits 10:8, status code (SC) in bits 7:0. Only statuses that decide something
/// here have a name; `Outcome::text` knows more of them.
enum class Status : std::uint16_t {
  kSuccess = 0x000,
  kCommandAbortRequested = 0x007,
  kAbortedBySqDeletion = 0x008,
  kInvalidFirmwareSlot = 0x106,
  kInvalidFirmwareImage = 0x107,
  kRequiresConventionalReset = 0x10B,
  kRequiresSubsystemReset = 0x110,
  kRequiresControllerReset = 0x111,
  kMaximumTimeViolation = 0x112,
  kActivationProhibited = 0x113,
  kOverlappingRange = 0x114,
};

/// What the kernel hands back for one admin command.
struct Completion {
  /// 0: the controller answered. Otherwise the errno with which the command never reached it or got no
  /// answer; the other fields mean nothing then.
  int error = 0;

  /// The answer's status field without its phase tag: SC in bits 7:0, SCT in bits 10:8, CRD (a retry delay)
  /// in bits 12:11, M (more in the error log) in bit 13, DNR (do not retry) in bit 14.
  std::uint16_t statusField = 0;

  std::uint32_t dword0 = 0;  ///< the answer's own result
};

/// One of four ends: success; success of a commit that owes a reset; refused by the drive, with a status; or
/// failed with an errno, without an answer of the drive.
class [[nodiscard]] Outcome {
 public:
  static Outcome success() { return {Kind::kSuccess, 0}; }
  static Outcome resetOwed() { return {Kind::kResetOwed, 0}; }
  /// `statusField` as in `Completion`, its status being none of success.
  static Outcome refused(std::uint16_t statusField) { return {Kind::kRefused, statusField}; }
  /// `error` is an errno, positive.
  static Outcome failed(int error) { return {Kind::kFailed, error}; }

  /// Of any command but Firmware Commit: every status but success is a refusal.
  static Outcome of(const Completion& completion);
  /// Of Firmware Commit, where three statuses mean that it did commit and that a reset of some kind is owed.
  static Outcome ofCommit(const Completion& completion);

  /// Carried out, whether a reset is owed or not.
  bool isSuccess() const { return m_kind == Kind::kSuccess || m_kind == Kind::kResetOwed; }
  bool isResetOwed() const { return m_kind == Kind::kResetOwed; }
  bool failedWith(int error) const { return m_kind == Kind::kFailed && m_number == error; }

  /// The drive refused with a status that may be another the next time: none that speaks of the image or the
  /// slot, and without DNR.
  bool mayBeRepeated() const;

  /// The drive has some of these bytes already, from this download or from one that was left unfinished.
  bool isOverlap() const { return m_kind == Kind::kRefused && status() == Status::kOverlappingRange; }

  /// The drive forbids to send the command again.
  bool isFinal() const;

  /// Nobody knows whether the drive carried the command out: the path to it failed, somebody aborted the
  /// command, or there was no answer. The reset that may be behind it makes a drive forget what it was
  /// handed.
  bool isLost() const;

  /// What the entry points return: 0; 267 for success with a reset owed, whatever its kind; the status of a
  /// refusal (11 bits); the negative errno of a failure. Callers take 267 for success, so that a refusal with
  /// that number, which makes no sense, is -EPROTO.
  int code() const;

  /// For the system log: name and number of a status, or the system's text for an errno.
  std::string text() const;

 private:
  enum class Kind { kSuccess, kResetOwed, kRefused, kFailed };

  Outcome(Kind kind, int number) : m_kind(kind), m_number(number) {}

  Status status() const;

  Kind m_kind;
  int m_number;  ///< a refusal's status field, a failure's errno; 0 for success
};

}  // namespace nvme_linux
