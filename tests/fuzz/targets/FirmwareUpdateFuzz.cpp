// One firmware update of a drive that answers as the input says. The drive checks every command that it gets.
//
//   two bytes: the image's length in dwords, less one
//   one byte: the longest piece that the kernel takes, in units of 4 KiB; 0: no limit
//   then for each command a byte that decides what becomes of it (see `answer`) and the bytes of the answer,
//   which change what a well-behaved drive would say: zeros, and an input that ends, leave it as it is

#include <linux/nvme_ioctl.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <optional>
#include <string_view>

#include "FirmwareUpdate.h"
#include "FuzzHost.h"
#include "FuzzSupport.h"

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
    m_image = image(4 * (low + 256U * (m_input.byte() % 32U) + 1));
    m_kernelLimit = std::size_t{4096} * m_input.byte();
  }

  const std::vector<std::uint8_t>& wholeImage() const { return m_image; }
  fuzz::Input& input() { return m_input; }
  void lock() { m_isLocked = true; }

  Completion perform(const nvme_passthru_cmd& command) {
    constexpr int kMostCommands = 100'000;
    PROMISE(++m_commands < kMostCommands);
    PROMISE(m_isLocked && command.data_len % 4 == 0);
    // Nothing follows a firmware command of which nobody knows whether it was carried out, nor a commit.
    const bool isFirmware = command.opcode == kDownload || command.opcode == kCommit;
    PROMISE(!isFirmware || !m_isOver);
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
    PROMISE(outcome.isSuccess() == m_isCommitted && outcome.isResetOwed() == m_isResetOwed);
    PROMISE((outcome.code() == 0) == (m_isCommitted && !m_isResetOwed));
    PROMISE((outcome.code() == 267) == m_isResetOwed);
  }

 private:
  /// Success but for one byte in eight values each: a refusal, or an error of the kernel.
  Completion answer() {
    constexpr std::array<int, 8> kErrors{EIO, ENODEV, EINVAL, EINTR, ENOMEM, ETIMEDOUT, EAGAIN, ENOTTY};
    const std::uint8_t kind = m_input.byte();
    if (kind % 8 == 6) return {.error = kErrors.at(kind / 8 % kErrors.size())};
    if (kind % 8 != 7) return {};
    const std::uint8_t code = m_input.byte();
    return {.statusField = static_cast<std::uint16_t>(code | (kind / 8 % 8) << 8 | (kind / 64 % 2) << 14)};
  }

  static bool isGood(const Completion& completion) {
    return completion.error == 0 && (completion.statusField & 0x7FF) == 0;
  }

  template <class Change>
  Completion fill(const nvme_passthru_cmd& command, std::size_t size, Change change) {
    PROMISE(command.data_len == size);
    const Completion completion = answer();
    std::vector<std::uint8_t> data(size);
    change(data);
    // Commands that fail leave their data undefined.
    if (!isGood(completion)) std::fill(data.begin(), data.end(), std::uint8_t{0xFF});
    std::memcpy(reinterpret_cast<void*>(command.addr), data.data(),
                size);  // NOLINT(performance-no-int-to-ptr)
    return completion;
  }

  Completion identify(const nvme_passthru_cmd& command) {
    PROMISE(command.cdw10 == 1);
    return fill(command, 4096, [this](auto& data) {
      constexpr std::array<std::pair<std::size_t, std::uint8_t>, 7> kFields{
          {{256, 0x04}, {260, 3 << 1}, {77, 0}, {319, 0}, {270, 0}, {271, 0}, {64, 'R'}}};
      for (const auto& [at, usual] : kFields) data[at] = usual ^ m_input.byte();
      if (m_isCommitted || m_isOver) return;
      m_isFirstReadOnly = (data[260] & 1U) != 0;
      m_longestPiece = data[77] == 0 || data[77] >= 16 ? SIZE_MAX : std::size_t{4096} << data[77];
    });
  }

  Completion readSlots(const nvme_passthru_cmd& command) {
    PROMISE(command.cdw10 == (0x03U | 127U << 16U) && command.nsid == 0xFFFFFFFF);
    return fill(command, 512, [this](auto& data) {
      data[0] = 1U ^ m_input.byte();
      const std::uint8_t used = m_input.byte();
      for (std::size_t slot = 0; slot < 7; ++slot) data[8 + 8 * slot] = (used >> slot & 1U) != 0 ? 'R' : 0;
    });
  }

  Completion download(const nvme_passthru_cmd& command) {
    const std::size_t offset = std::size_t{4} * command.cdw11;
    const std::size_t length = std::size_t{4} * (command.cdw10 + std::size_t{1});
    PROMISE(command.data_len == length && length <= m_longestPiece);
    PROMISE(offset == m_taken && length <= m_image.size() - offset);
    PROMISE(std::memcmp(reinterpret_cast<const void*>(command.addr),  // NOLINT(performance-no-int-to-ptr)
                        m_image.data() + offset, length) == 0);
    if (m_kernelLimit != 0 && length > m_kernelLimit) return {.error = EINVAL};
    const Completion completion = answer();
    if (isGood(completion)) m_taken += length;
    if (isLost(completion)) m_isOver = true;
    return completion;
  }

  Completion commit(const nvme_passthru_cmd& command) {
    const unsigned int slot = command.cdw10 & 7U;
    PROMISE(m_taken == m_image.size() && command.data_len == 0);
    PROMISE(command.cdw10 >> 3U == 1 && (slot != 1 || !m_isFirstReadOnly));
    const Completion completion = answer();
    const int status = completion.statusField & 0x7FF;
    m_isResetOwed = completion.error == 0 && (status == 0x10B || status == 0x110 || status == 0x111);
    m_isCommitted = isGood(completion) || m_isResetOwed;
    m_isOver = m_isCommitted || isLost(completion);
    return completion;
  }

  /// A piece that the kernel finds too long is the one failure after which another piece may follow.
  static bool isLost(const Completion& completion) {
    if (completion.error != 0) return completion.error != EINVAL;
    const int status = completion.statusField & 0x7FF;
    return (status & 0x700) == 0x300 || status == 0x007 || status == 0x008;
  }

  fuzz::Input m_input;
  std::vector<std::uint8_t> m_image;
  std::size_t m_kernelLimit = 0;
  std::size_t m_longestPiece = 0;
  std::size_t m_taken = 0;  ///< bytes of the image that the drive has
  int m_commands = 0;
  bool m_isLocked = false;
  bool m_isFirstReadOnly = false;
  bool m_isOver = false;
  bool m_isCommitted = false;
  bool m_isResetOwed = false;
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
  Outcome readFile(const std::string& path, std::size_t limit, std::vector<std::uint8_t>& content) override {
    PROMISE(path == "firmware.bin" && limit >= m_drive.wholeImage().size());
    content = m_drive.wholeImage();
    return Outcome::success();
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
  const Outcome outcome = nvme_linux::FirmwareUpdate(host, controller).run("firmware.bin");
  drive.check(outcome);
  // Each wait has its bound, and so has the pause before a command is repeated.
  PROMISE(host.now() < std::chrono::minutes(30));
  PROMISE(outcome.isSuccess() || !host.reports().empty());
  return 0;
}
