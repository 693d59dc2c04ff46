#include "Controller.h"

#include <algorithm>
#include <cerrno>
#include <limits>

#include "Outcome.h"

namespace nvme_linux {

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
Identity parseIdentity(const std::array<std::uint8_t, 4096>& data) {
  constexpr unsigned int kLargestShift = 16;  // beyond any transfer
  constexpr std::uint8_t kNoRestriction = 0xFF;
  Identity identity;
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

FirmwareSlots parseSlots(const std::array<std::uint8_t, 512>& data) {
  FirmwareSlots slots;
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
  return result >= 0 && (status::statusOf(result) == 0 ||
                         (command.opcode == kFirmwareCommit && status::isResetOwed(result)));
}

}  // namespace

bool FirmwareSlots::isEmpty(unsigned int slot) const {
  const Revision& revision = revisions.at(slot - 1);
  return std::all_of(revision.begin(), revision.end(), [](char c) { return c == '\0' || c == ' '; });
}

Controller::Controller(Host& host, const PciController& controller)
    : m_host(host), m_controller(controller) {}

int Controller::open() {
  const auto end = m_host.now() + kResetBound;
  int result = m_host.open(m_controller.name, m_device);
  while (result == -EAGAIN && !isGivenUp(state()) && m_host.now() < end) {
    m_host.sleep(kBeforeRepeat);
    result = m_host.open(m_controller.name, m_device);
  }
  if (result != 0) {
    report(LOG_ERR, m_controller.name + " cannot be opened: " + status::describe(result) +
                        (result == -EAGAIN ? "; its state is " + state() : ""));
  }
  return result;
}

std::string Controller::state() {
  return m_host.attribute(m_controller.name, "state").value_or("unknown");
}

int Controller::lock() {
  const int result = m_device->lock();
  if (result == -EBUSY) {
    report(LOG_ERR, "another run is updating this drive");
  } else if (result != 0) {
    report(LOG_ERR, m_controller.name + " cannot be locked: " + status::describe(result));
  }
  return result;
}

int Controller::confirm() {
  const std::string opened = m_device->number();
  const bool isItsNode = m_host.attribute(m_controller.name, "dev").value_or(opened) == opened;
  if (isItsNode && isStillThere(m_host, m_controller)) return 0;
  report(LOG_ERR, m_controller.name +
                      (isItsNode ? " is another drive by now" : " is the node of another drive") +
                      "; the update is refused");
  return -ENODEV;
}

void Controller::allowFor(std::chrono::milliseconds activation) {
  constexpr std::chrono::milliseconds kLongest{std::numeric_limits<std::uint32_t>::max()};
  m_timeout =
      static_cast<std::uint32_t>(std::min(std::max(activation, m_host.adminTimeout()), kLongest).count());
}

int Controller::identify(Identity& identity, int failure) {
  std::array<std::uint8_t, 4096> data{};
  nvme_passthru_cmd command{};
  command.opcode = kIdentify;
  command.cdw10 = kIdentifyController;
  pointTo(command, data);
  const int result = send("Identify Controller", command, failure);
  identity = parseIdentity(data);
  return result;
}

int Controller::readSlots(FirmwareSlots& slots, int failure) {
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

int Controller::download(std::span<const std::uint8_t> piece, std::size_t offset) {
  nvme_passthru_cmd command{};
  command.opcode = kFirmwareDownload;
  command.addr = reinterpret_cast<std::uintptr_t>(piece.data());
  command.data_len = static_cast<std::uint32_t>(piece.size());
  command.cdw10 = static_cast<std::uint32_t>(piece.size() / kDword - 1);
  command.cdw11 = static_cast<std::uint32_t>(offset / kDword);
  return send("Firmware Image Download", command);
}

int Controller::commit(unsigned int slot) {
  nvme_passthru_cmd command{};
  command.opcode = kFirmwareCommit;
  command.cdw10 = slot | kActivateAtNextReset;
  return send("Firmware Commit", command);
}

int Controller::send(const char* what, const nvme_passthru_cmd& command, int failure) {
  for (int repeat = 0;; ++repeat) {
    nvme_passthru_cmd sent = command;  // the kernel writes into it
    sent.timeout_ms = isFirmwareCommand(command) ? m_timeout : 0;
    const int result = m_device->admin(sent);
    if (isDone(command, result)) return status::statusOf(result) == 0 ? 0 : status::kResetOwed;
    const bool isLast = repeat == kRepeats || !status::mayRepeat(result) ||
                        (isFirmwareCommand(command) && status::isLost(result));
    if (command.opcode == kFirmwareDownload && result == -EINVAL) return result;
    report(isLast ? failure : std::max(failure, LOG_WARNING),
           std::string(what) + ": " + status::describe(result) + (isLast ? "" : "; it is repeated"));
    if (isLast) {
      if (result < 0) return result;
      // Callers take this one status for a commit that succeeded.
      return status::statusOf(result) == status::kResetOwed ? -EPROTO : status::statusOf(result);
    }
    m_host.sleep(kBeforeRepeat);
  }
}

void Controller::report(int priority, const std::string& text) {
  m_host.report(priority, "NVMe drive " + m_controller.addressText + ": " + text);
}

std::string printable(std::span<const char> field) {
  std::string text(field.begin(), field.end());
  text.erase(text.find_last_not_of(std::string(" \0", 2)) + 1);
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

}  // namespace nvme_linux
