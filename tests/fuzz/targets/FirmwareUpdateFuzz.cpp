// One firmware update of a drive that answers as the input says. The drive checks every command that it gets.
//
//   two bytes: the image's length in dwords, less one; bit 7 of the second: the kernel does not tell of
//   resets one byte: the longest piece that the kernel takes, in units of 4 KiB; 0: no limit then for each
//   command a byte that decides what becomes of it (see `answer`) and the bytes of the answer, which change
//   what a well-behaved drive would say: zeros, and an input that ends, leave it as it is

#include <linux/nvme_ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <set>
#include <string_view>

#include "FirmwareUpdate.h"
#include "FuzzHost.h"
#include "FuzzSupport.h"
#include "SupportedDrives.h"

namespace {

using nvme_linux::Completion;
using nvme_linux::Outcome;
using std::chrono::milliseconds;

constexpr std::uint8_t kGetLogPage = 0x02;
constexpr std::uint8_t kIdentify = 0x06;
constexpr std::uint8_t kCommit = 0x10;
constexpr std::uint8_t kDownload = 0x11;

std::vector<std::uint8_t> image(std::size_t size) {
  std::vector<std::uint8_t> bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  return bytes;
}

/// What the drive has been told and has told.
class Drive {
 public:
  explicit Drive(fuzz::Input input) : m_input(input) {
    const std::size_t low = m_input.byte();
    const std::size_t high = m_input.byte();
    m_image = image(4 * (low + 256U * (high % 32U) + 1));
    m_isResetTold = high < 128;
    m_kernelLimit = std::size_t{4096} * m_input.byte();
  }

  const std::vector<std::uint8_t>& wholeImage() const { return m_image; }
  bool isResetTold() const { return m_isResetTold; }
  int resets() const { return m_resets; }
  void lock() { m_isLocked = true; }

  Completion perform(const nvme_passthru_cmd& command) {
    constexpr int kMostCommands = 100'000;
    PROMISE(++m_commands < kMostCommands);
    PROMISE(m_isLocked && command.data_len % 4 == 0);
    const bool isFirmware = command.opcode == kDownload || command.opcode == kCommit;
    // After a commit that was or may have been carried out, the drive is only asked.
    PROMISE(!isFirmware || !m_mayBeCommitted);
    PROMISE((command.timeout_ms != 0) == isFirmware);
    switch (command.opcode) {
      case kIdentify:
        return identify(command);
      case kGetLogPage:
        return readSlots(command);
      case kDownload:
        return download(command);
      default:
        PROMISE(command.opcode == kCommit);
        return commit(command);
    }
  }

  /// Against the end of the whole update.
  void check(const Outcome& outcome) const {
    PROMISE(!outcome.isSuccess() || m_mayBeCommitted);
    PROMISE((outcome.code() == 0 || outcome.code() == 267) == outcome.isSuccess());
  }

 private:
  /// Success for most bytes; else a reset that swallows the command, an error of the kernel, or a status.
  Completion answer(bool mayReset) {
    constexpr std::array<int, 8> kErrors{EIO, ENODEV, EINVAL, EINTR, ENOMEM, ETIMEDOUT, EAGAIN, ENOTTY};
    const std::uint8_t kind = m_input.byte();
    if (kind % 8 == 5 && mayReset) {
      ++m_resets;
      m_taken = 0;
      return {.error = EIO};
    }
    if (kind % 8 == 6) return {.error = kErrors.at(kind / 8 % kErrors.size())};
    if (kind % 8 != 7) return {.dword0 = kind >= 0xF0 ? 3U : 0U};
    const std::uint8_t code = m_input.byte();
    return {.statusField = static_cast<std::uint16_t>(code | (kind / 8 % 8) << 8 | (kind / 64 % 2) << 14)};
  }

  static int status(const Completion& completion) { return completion.statusField & 0x7FF; }
  static bool isGood(const Completion& completion) {
    return completion.error == 0 && status(completion) == 0;
  }
  static bool isOverlap(const Completion& completion) {
    return completion.error == 0 && status(completion) == 0x114;
  }
  /// Nobody knows whether it was carried out. The kernel finds a piece too long before the drive sees it.
  static bool isLost(const Completion& completion) {
    if (completion.error != 0) return completion.error != EINVAL;
    return (status(completion) & 0x700) == 0x300 || status(completion) == 0x007 ||
           status(completion) == 0x008;
  }

  template <class Change>
  Completion fill(const nvme_passthru_cmd& command, std::size_t size, Change change) {
    PROMISE(command.data_len == size);
    const Completion completion = answer(m_isResetTold);
    std::vector<std::uint8_t> data(size);
    change(data);
    // Commands that fail leave their data undefined.
    if (!isGood(completion)) std::fill(data.begin(), data.end(), std::uint8_t{0xFF});
    std::memcpy(reinterpret_cast<void*>(command.addr), data.data(), size);
    return completion;
  }

  Completion identify(const nvme_passthru_cmd& command) {
    PROMISE(command.cdw10 == 1);
    return fill(command, 4096, [this](auto& data) {
      constexpr std::array<std::pair<std::size_t, std::uint8_t>, 7> kFields{
          {{256, 0x04}, {260, 3 << 1}, {77, 0}, {319, 0}, {270, 0}, {271, 0}, {64, 'R'}}};
      for (const auto& [at, usual] : kFields) data[at] = usual ^ m_input.byte();
      if (m_mayBeCommitted) return;
      m_isFirstReadOnly = (data[260] & 1U) != 0;
      m_longestPiece = data[77] == 0 || data[77] >= 16 ? SIZE_MAX : std::size_t{4096} << data[77];
    });
  }

  Completion readSlots(const nvme_passthru_cmd& command) {
    PROMISE(command.cdw10 == (0x03U | 127U << 16U) && command.nsid == 0xFFFFFFFF);
    return fill(command, 512, [this](auto& data) {
      data[0] = static_cast<std::uint8_t>((1U | m_waitingSlot << 4) ^ m_input.byte());
      const unsigned int used = (1U | (m_waitingSlot == 0 ? 0U : 1U << (m_waitingSlot - 1))) ^ m_input.byte();
      for (std::size_t slot = 0; slot < 7; ++slot) data[8 + 8 * slot] = (used >> slot & 1U) != 0 ? 'R' : 0;
    });
  }

  Completion download(const nvme_passthru_cmd& command) {
    const std::size_t offset = std::size_t{4} * command.cdw11;
    const std::size_t length = std::size_t{4} * (command.cdw10 + std::size_t{1});
    PROMISE(command.data_len == length && length <= m_longestPiece);
    PROMISE(offset < m_image.size() && length <= m_image.size() - offset);
    PROMISE(std::memcmp(reinterpret_cast<const void*>(command.addr), m_image.data() + offset, length) == 0);
    // In order, from the start after a reset or an overlap, or the same again after a lost answer.
    PROMISE(offset == m_taken || (offset == 0 && m_mayStartOver));
    if (m_kernelLimit != 0 && length > m_kernelLimit) return {.error = EINVAL};
    const Completion completion = answer(true);
    if (isGood(completion) || (isOverlap(completion) && m_isPieceLost)) m_taken = offset + length;
    if (isOverlap(completion) || !m_isResetTold) m_mayStartOver = true;
    m_isPieceLost = isLost(completion);
    return completion;
  }

  Completion commit(const nvme_passthru_cmd& command) {
    const unsigned int slot = command.cdw10 & 7U;
    PROMISE(m_taken == m_image.size() && command.data_len == 0);
    PROMISE(command.cdw10 >> 3U == 1 && (slot != 1 || !m_isFirstReadOnly));
    const Completion completion = answer(false);
    const bool isResetOwed =
        completion.error == 0 &&
        (status(completion) == 0x10B || status(completion) == 0x110 || status(completion) == 0x111);
    m_mayBeCommitted = isGood(completion) || isResetOwed || completion.error != 0 || isLost(completion);
    if (m_mayBeCommitted) m_waitingSlot = slot == 0 ? 2 : slot;
    return completion;
  }

  fuzz::Input m_input;
  std::vector<std::uint8_t> m_image;
  bool m_isResetTold = true;
  std::size_t m_kernelLimit = 0;
  std::size_t m_longestPiece = 0;
  std::size_t m_taken = 0;  ///< bytes of the image that the drive has, as far as anybody can tell
  int m_commands = 0;
  int m_resets = 0;
  unsigned int m_waitingSlot = 0;  ///< for the next reset; 0: none
  bool m_isLocked = false;
  bool m_isFirstReadOnly = false;
  bool m_mayStartOver = false;
  bool m_isPieceLost = false;
  bool m_mayBeCommitted = false;
};

/// Tells of the drive's resets since it was made, where the kernel tells.
class Watch : public nvme_linux::ResetWatch {
 public:
  explicit Watch(const Drive& drive) : m_drive(drive), m_before(drive.resets()) {}
  std::optional<bool> wasReset() override {
    return m_drive.isResetTold() ? std::optional(m_drive.resets() > m_before) : std::nullopt;
  }

 private:
  const Drive& m_drive;
  int m_before;
};

class OpenDrive : public nvme_linux::Device {
 public:
  explicit OpenDrive(Drive& drive) : m_drive(drive) {}
  Outcome lock() override {
    m_drive.lock();
    return Outcome::success();
  }
  std::string number() override { return "10:1"; }
  Completion admin(nvme_passthru_cmd& command) override { return m_drive.perform(command); }

 private:
  Drive& m_drive;
};

/// A machine with this drive alone.
class DriveHost : public fuzz::Host {
 public:
  explicit DriveHost(Drive& drive) : m_drive(drive) {}

  std::optional<std::string> text(const std::string& path) override {
    constexpr std::string_view kFolder = "class/nvme/nvme0/";
    PROMISE(path.starts_with(kFolder));
    const std::string name = path.substr(kFolder.size());
    if (name == "address") return "0000:01:00.0";
    if (name.starts_with("device/")) return "0x1234";
    if (name == "dev") return "10:1";
    return std::nullopt;
  }
  Outcome open(const std::string& /*controller*/, std::unique_ptr<nvme_linux::Device>& device) override {
    device = std::make_unique<OpenDrive>(m_drive);
    return Outcome::success();
  }
  std::unique_ptr<nvme_linux::ResetWatch> watchResets(const std::string& /*controller*/) override {
    return std::make_unique<Watch>(m_drive);
  }

 private:
  Drive& m_drive;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Drive drive{fuzz::Input(data, size)};
  DriveHost host(drive);
  const nvme_linux::PciController controller{
      .name = "nvme0",
      .addressText = "0000:01:00.0",
      .address = nvme_linux::PciAddress{.bus = 1},
      .ids =
          nvme_linux::PciIds{.vendor = 0x1234, .device = 0x1234, .subVendor = 0x1234, .subDevice = 0x1234}};
  const nvme_linux::SupportedDrives supported(
      std::set<nvme_linux::SupportedModel>{{.ids = *controller.ids, .model = {}, .fromRevision = {}}});
  const Outcome outcome = nvme_linux::FirmwareUpdate(host, supported, {controller}, drive.wholeImage()).run();
  drive.check(outcome);
  // Each wait has its bound, and so has the pause before a command is repeated.
  PROMISE(host.now() < std::chrono::hours(2));
  PROMISE(outcome.isSuccess() || !host.reports().empty());
  return 0;
}
