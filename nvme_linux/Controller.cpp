#include "Controller.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "NvmeStatus.h"

namespace {

using namespace std::chrono_literals;

constexpr int kRepeats = 3;
constexpr auto kBeforeRepeat = 500ms;
constexpr auto kResetBound = 5s;

constexpr std::uint8_t kGetLogPage = 0x02;
constexpr std::uint8_t kIdentify = 0x06;
constexpr std::uint8_t kFirmwareCommit = 0x10;
constexpr std::uint8_t kFirmwareDownload = 0x11;

constexpr std::uint32_t kIdentifyController = 1;
constexpr std::uint32_t kFirmwareSlotLog = 3;
constexpr std::uint32_t kAllNamespaces = 0xFFFFFFFF;
constexpr std::uint32_t kActivateAtNextReset = 1U << 3;

constexpr std::size_t kDword = 4;
constexpr std::size_t kPage = 4096;  // the smallest memory page of a controller, as good as always

template <std::size_t Size>
void pointTo(nvme_passthru_cmd& command, std::array<std::uint8_t, Size>& data) {
  command.addr = reinterpret_cast<std::uintptr_t>(data.data());
  command.data_len = static_cast<std::uint32_t>(Size);
}

template <std::size_t Size>
void copyText(std::array<char, Size>& text, const std::uint8_t* from) {
  std::copy_n(from, Size, text.begin());
}

/// Field offsets and bits are those of the Identify Controller data structure.
SIdentity parseIdentity(const std::array<std::uint8_t, 4096>& data) {
  constexpr unsigned int kLargestShift = 16;  // beyond any transfer
  constexpr std::uint8_t kNoRestriction = 0xFF;
  SIdentity identity;
  copyText(identity.serial, &data[4]);
  copyText(identity.model, &data[24]);
  copyText(identity.revision, &data[64]);
  const unsigned int transferShift = data[77];
  if (transferShift != 0 && transferShift < kLargestShift) identity.maximumTransfer = kPage << transferShift;
  identity.takesFirmware = (data[256] & 0x04) != 0;
  identity.firstSlotReadOnly = (data[260] & 0x01) != 0;
  identity.slots = (data[260] >> 1) & 0x07;
  identity.activation = std::chrono::milliseconds(100 * (data[270] | data[271] << 8));
  if (data[319] != kNoRestriction) identity.granularity = kPage * data[319];
  return identity;
}

SFirmwareSlots parseSlots(const std::array<std::uint8_t, 512>& data) {
  SFirmwareSlots slots;
  slots.running = data[0] & 0x07;
  slots.updateInProgress = (data[0] & 0x08) != 0;
  slots.next = (data[0] >> 4) & 0x07;
  for (std::size_t i = 0; i < slots.revisions.size(); ++i)
    copyText(slots.revisions.at(i), &data.at(8 + 8 * i));
  return slots;
}

/// The kernel's words for a controller that does not come back: "dead", "deleting", "deleting (no IO)".
bool isGivenUp(const std::string& state) {
  return state == "dead" || state.starts_with("deleting");
}

bool isFirmwareCommand(const nvme_passthru_cmd& command) {
  return command.opcode == kFirmwareDownload || command.opcode == kFirmwareCommit;
}

bool isDone(const nvme_passthru_cmd& command, int result) {
  return result >= 0 &&
         (nvme::statusOf(result) == 0 || (command.opcode == kFirmwareCommit && nvme::isResetOwed(result)));
}

}  // namespace

bool SFirmwareSlots::isEmpty(unsigned int slot) const {
  const Revision& revision = revisions.at(slot - 1);
  return std::all_of(revision.begin(), revision.end(), [](char c) { return c == '\0' || c == ' '; });
}

CController::CController(IKernel& kernel, const SPciController& controller)
    : m_kernel(kernel), m_controller(controller) {}

int CController::open() {
  const auto end = m_kernel.now() + kResetBound;
  int result = m_kernel.open(m_controller.name, m_device);
  while (result == -EAGAIN && !isGivenUp(state()) && m_kernel.now() < end) {
    m_kernel.sleep(kBeforeRepeat);
    result = m_kernel.open(m_controller.name, m_device);
  }
  if (result != 0) {
    report(LOG_ERR, m_controller.name + " cannot be opened: " + nvme::describe(result) +
                        (result == -EAGAIN ? "; its state is " + state() : ""));
  }
  return result;
}

std::string CController::state() {
  return m_kernel.attribute(m_controller.name, "state").value_or("unknown");
}

int CController::lock() {
  const int result = m_device->lock();
  if (result == -EBUSY) {
    report(LOG_ERR, "another run is updating this drive");
  } else if (result != 0) {
    report(LOG_ERR, m_controller.name + " cannot be locked: " + nvme::describe(result));
  }
  return result;
}

int CController::confirm() {
  const std::string opened = m_device->number();
  const bool isItsNode = m_kernel.attribute(m_controller.name, "dev").value_or(opened) == opened;
  if (isItsNode && isStillThere(m_kernel, m_controller)) return 0;
  report(LOG_ERR, m_controller.name +
                      (isItsNode ? " is another drive by now" : " is the node of another drive") +
                      "; the update is refused");
  return -ENODEV;
}

void CController::allowFor(std::chrono::milliseconds activation) {
  constexpr std::chrono::milliseconds kLongest{std::numeric_limits<std::uint32_t>::max()};
  m_timeout =
      static_cast<std::uint32_t>(std::min(std::max(activation, m_kernel.adminTimeout()), kLongest).count());
}

int CController::identify(SIdentity& identity, int failure) {
  std::array<std::uint8_t, 4096> data{};
  nvme_passthru_cmd command{};
  command.opcode = kIdentify;
  command.cdw10 = kIdentifyController;
  pointTo(command, data);
  const int result = send("Identify Controller", command, failure);
  identity = parseIdentity(data);
  return result;
}

int CController::readSlots(SFirmwareSlots& slots, int failure) {
  std::array<std::uint8_t, 512> data{};
  nvme_passthru_cmd command{};
  command.opcode = kGetLogPage;
  command.nsid = kAllNamespaces;
  command.cdw10 = kFirmwareSlotLog | static_cast<std::uint32_t>(data.size() / kDword - 1) << 16;
  pointTo(command, data);
  const int result = send("Get Log Page, firmware slots", command, failure);
  slots = parseSlots(data);
  return result;
}

int CController::download(std::span<const std::uint8_t> piece, std::size_t offset) {
  nvme_passthru_cmd command{};
  command.opcode = kFirmwareDownload;
  command.addr = reinterpret_cast<std::uintptr_t>(piece.data());
  command.data_len = static_cast<std::uint32_t>(piece.size());
  command.cdw10 = static_cast<std::uint32_t>(piece.size() / kDword - 1);
  command.cdw11 = static_cast<std::uint32_t>(offset / kDword);
  return send("Firmware Image Download", command);
}

int CController::commit(unsigned int slot) {
  nvme_passthru_cmd command{};
  command.opcode = kFirmwareCommit;
  command.cdw10 = slot | kActivateAtNextReset;
  return send("Firmware Commit", command);
}

int CController::send(const char* what, const nvme_passthru_cmd& command, int failure) {
  for (int repeat = 0;; ++repeat) {
    nvme_passthru_cmd sent = command;  // the kernel writes into it
    sent.timeout_ms = isFirmwareCommand(command) ? m_timeout : 0;
    const int result = m_device->admin(sent);
    if (isDone(command, result)) return nvme::statusOf(result) == 0 ? 0 : nvme::kResetOwed;
    const bool isLast = repeat == kRepeats || !nvme::mayRepeat(result) ||
                        (isFirmwareCommand(command) && nvme::isLost(result));
    if (command.opcode == kFirmwareDownload && result == -EINVAL) return result;
    report(isLast ? failure : std::max(failure, LOG_WARNING),
           std::string(what) + ": " + nvme::describe(result) + (isLast ? "" : "; it is repeated"));
    if (isLast) {
      if (result < 0) return result;
      // Callers take this one status for a commit that succeeded.
      return nvme::statusOf(result) == nvme::kResetOwed ? -EPROTO : nvme::statusOf(result);
    }
    m_kernel.sleep(kBeforeRepeat);
  }
}

void CController::report(int priority, const std::string& text) {
  m_kernel.report(priority, "NVMe drive " + m_controller.addressText + ": " + text);
}

std::string printable(std::span<const char> field) {
  std::string text(field.begin(), field.end());
  text.erase(text.find_last_not_of(std::string(" \0", 2)) + 1);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}
