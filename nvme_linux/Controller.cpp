#include "Controller.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>

namespace nvme_linux {

namespace {

using namespace std::chrono_literals;

constexpr int kRepeats = 3;
constexpr auto kBeforeRepeat = 500ms;
constexpr std::chrono::milliseconds kShortestCommitTimeout = 5min;

// Opcodes
constexpr std::uint8_t kGetLogPage = 0x02;
constexpr std::uint8_t kIdentify = 0x06;
constexpr std::uint8_t kFirmwareCommit = 0x10;
constexpr std::uint8_t kFirmwareImageDownload = 0x11;

constexpr std::uint32_t kIdentifyController = 0x01;   // CNS, CDW10 bits 7:0
constexpr std::uint32_t kSmartLog = 0x02;             // LID, CDW10 bits 7:0
constexpr std::uint32_t kFirmwareSlotLog = 0x03;      // likewise
constexpr unsigned int kNumdlShift = 16;              // NUMDL, CDW10 bits 31:16
constexpr std::uint32_t kActivateAtReset = 1U << 3;   // CA 001b, CDW10 bits 5:3, beside FS in bits 2:0
constexpr std::uint32_t kMultipleUpdateDetected = 3;  // MUD, bits 1:0 of a commit's dword 0
constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFF;

/// Lengths in commands are numbers of dwords, less one.
std::uint32_t dwordsLessOne(std::size_t bytes) {
  return static_cast<std::uint32_t>(bytes / 4 - 1);
}

void pointTo(nvme_passthru_cmd& command, std::span<const std::uint8_t> data) {
  command.addr = reinterpret_cast<std::uintptr_t>(data.data());
  command.data_len = static_cast<std::uint32_t>(data.size());
}

/// The kernel's words for a controller that does not come back: "dead", "deleting", "deleting (no IO)".
bool isGivenUp(const std::string& state) {
  return state == "dead" || state.starts_with("deleting");
}

bool isGone(const Outcome& outcome) {
  return outcome.failedWith(ENODEV) || outcome.failedWith(ENXIO);
}

bool isFirmwareCommand(const nvme_passthru_cmd& command) {
  return command.opcode == kFirmwareImageDownload || command.opcode == kFirmwareCommit;
}

/// A firmware command that may be lost is not repeated: with the reset that may have happened the drive has
/// forgotten the pieces before it. Nor is a commit of an image that another update came between: the next
/// answer might not tell of it any more.
bool isWorthRepeating(const nvme_passthru_cmd& command, const Outcome& outcome, std::uint32_t dword0) {
  const bool isOverlapped = command.opcode == kFirmwareCommit && (dword0 & kMultipleUpdateDetected) != 0;
  return outcome.mayBeRepeated() && !isOverlapped && !(isFirmwareCommand(command) && outcome.isLost());
}

}  // namespace

Controller::Controller(Host& host, PciController controller)
    : m_host(host), m_remembered(std::move(controller)) {}

Outcome Controller::open(Wait wait) {
  Outcome outcome = m_host.open(m_remembered.name, m_device);
  if (outcome.failedWith(EAGAIN) && wait == Wait::kUntilReset) {
    const auto end = m_host.now() + resetBound();
    while (outcome.failedWith(EAGAIN) && !isGivenUp(state()) && m_host.now() < end) {
      m_host.sleep(kBeforeRepeat);
      outcome = m_host.open(m_remembered.name, m_device);
    }
  }
  if (!outcome.isSuccess()) {
    const std::string stateNow = outcome.failedWith(EAGAIN) ? "; its state is " + state() : "";
    report(LOG_ERR, m_remembered.name + " cannot be opened: " + outcome.text() + stateNow);
    return outcome;
  }
  outcome = confirm();
  if (!outcome.isSuccess()) m_device.reset();
  return outcome;
}

bool Controller::waitUntilAnswers() {
  const Silence silence(*this);
  const auto end = m_host.now() + resetBound();
  for (;;) {
    FirmwareSlots slots{};
    const Outcome outcome = readSlots(slots);
    if (outcome.isSuccess()) return true;
    if (isGone(outcome) || isGivenUp(state()) || m_host.now() >= end) return false;
    m_host.sleep(kBeforeRepeat);
  }
}

std::chrono::milliseconds Controller::resetBound() {
  constexpr std::chrono::milliseconds kTimeoutUnit = 500ms;
  constexpr unsigned int kLongestTimeout = 0xFF;
  constexpr unsigned int kTimeoutShift = 24;  // CAP.TO, bits 31:24
  const auto capabilities = m_host.capabilities(m_remembered.name);
  // A drive that is gone reads as all ones, which is the longest bound.
  const auto timeout =
      capabilities ? static_cast<unsigned int>(*capabilities >> kTimeoutShift & 0xFF) : kLongestTimeout;
  return kTimeoutUnit * std::max(timeout, 1U);
}

std::string Controller::state() {
  return m_host.attribute(m_remembered.name, "state").value_or("unknown");
}

Outcome Controller::lock() {
  const Outcome outcome = m_device->lock();
  if (outcome.failedWith(EBUSY)) {
    report(LOG_ERR, "another run is updating this drive");
  } else if (!outcome.isSuccess()) {
    report(LOG_ERR, m_remembered.name + " cannot be locked: " + outcome.text());
  }
  return outcome;
}

Outcome Controller::confirm() {
  const bool isItsNode = m_host.attribute(m_remembered.name, "dev") == m_device->number();
  if (isItsNode && describeController(m_host, m_remembered.name) == m_remembered) return Outcome::success();
  report(LOG_ERR,
         m_remembered.name + (isItsNode ? " is another drive by now" : " is the node of another drive"));
  return Outcome::failed(ENODEV);
}

void Controller::allowFirmwareCommands(std::chrono::milliseconds activationTime) {
  constexpr std::chrono::milliseconds kLongest{std::numeric_limits<std::uint32_t>::max()};
  m_downloadTimeout = std::min(std::max(activationTime, m_host.adminTimeout()), kLongest);
  m_commitTimeout = std::max(m_downloadTimeout, kShortestCommitTimeout);
}

Outcome Controller::identify(Identity& identity) {
  constexpr const char* kName = "Identify Controller";
  std::array<std::uint8_t, Identity::kLength> data{};
  nvme_passthru_cmd command{};
  command.opcode = kIdentify;
  command.cdw10 = kIdentifyController;
  pointTo(command, data);
  const Outcome outcome = send(kName, command).outcome;
  if (outcome.isSuccess()) identity = parseIdentity(data);
  return reported(kName, outcome);
}

Outcome Controller::readSlots(FirmwareSlots& slots) {
  std::array<std::uint8_t, FirmwareSlots::kLength> data{};
  const Outcome outcome = readLogPage("Get Log Page, firmware slots", kFirmwareSlotLog, data);
  if (outcome.isSuccess()) slots = parseFirmwareSlots(data);
  return outcome;
}

Outcome Controller::readHealth(Health& health) {
  std::array<std::uint8_t, Health::kLength> data{};
  const Outcome outcome = readLogPage("Get Log Page, SMART", kSmartLog, data);
  if (outcome.isSuccess()) health = parseHealth(data);
  return outcome;
}

Outcome Controller::readLogPage(const char* name, std::uint32_t page, std::span<std::uint8_t> data) {
  nvme_passthru_cmd command{};
  command.opcode = kGetLogPage;
  command.nsid = kAllNamespaces;
  command.cdw10 = page | dwordsLessOne(data.size()) << kNumdlShift;
  pointTo(command, data);
  return reported(name, send(name, command).outcome);
}

Outcome Controller::download(std::span<const std::uint8_t> piece, std::size_t offset) {
  constexpr const char* kName = "Firmware Image Download";
  nvme_passthru_cmd command{};
  command.opcode = kFirmwareImageDownload;
  command.cdw10 = dwordsLessOne(piece.size());             // NUMD
  command.cdw11 = static_cast<std::uint32_t>(offset / 4);  // OFST
  pointTo(command, piece);
  const Outcome outcome = send(kName, command).outcome;
  return outcome.failedWith(EINVAL) ? outcome : reported(kName, outcome);
}

Controller::Commit Controller::commit(unsigned int slot) {
  constexpr const char* kName = "Firmware Commit";
  nvme_passthru_cmd command{};
  command.opcode = kFirmwareCommit;
  command.cdw10 = slot | kActivateAtReset;
  const Answer answer = send(kName, command);
  return {.outcome = reported(kName, answer.outcome),
          .isOverlapped = !answer.outcome.isLost() && (answer.dword0 & kMultipleUpdateDetected) != 0};
}

Controller::Answer Controller::send(const char* name, const nvme_passthru_cmd& command) {
  const Answer first = sendOnce(command);
  Answer answer = first;
  for (int repeats = 0; repeats < kRepeats && isWorthRepeating(command, answer.outcome, answer.dword0);
       ++repeats) {
    report(LOG_WARNING, std::string(name) + ": " + answer.outcome.text() + "; it is repeated");
    m_host.sleep(kBeforeRepeat);
    answer = sendOnce(command);
  }
  // The first refusal is about the drive as it was found. A lost answer stands: it may hide a success.
  return answer.outcome.isSuccess() || answer.outcome.isLost() ? answer : first;
}

/// Takes a copy because the kernel writes into the command.
Controller::Answer Controller::sendOnce(nvme_passthru_cmd command) {
  const bool isCommit = command.opcode == kFirmwareCommit;
  const auto timeout = isCommit                     ? m_commitTimeout
                       : isFirmwareCommand(command) ? m_downloadTimeout
                                                    : std::chrono::milliseconds::zero();
  command.timeout_ms = static_cast<std::uint32_t>(timeout.count());
  const auto begin = isCommit ? m_host.now() : std::chrono::milliseconds::zero();
  const Completion completion = m_device->admin(command);
  Outcome outcome = isCommit ? Outcome::ofCommit(completion) : Outcome::of(completion);
  // The kernel says in several ways that it gave a command up.
  if (isCommit && outcome.isLost() && m_host.now() - begin >= timeout) outcome = Outcome::failed(ETIMEDOUT);
  return {.outcome = outcome, .dword0 = completion.dword0};
}

Outcome Controller::reported(const char* name, Outcome outcome) {
  if (!outcome.isSuccess()) report(LOG_ERR, std::string(name) + ": " + outcome.text());
  return outcome;
}

void Controller::report(int priority, const std::string& text) {
  if (!m_isSilent) m_host.report(priority, m_remembered.subject() + ": " + text);
}

}  // namespace nvme_linux
