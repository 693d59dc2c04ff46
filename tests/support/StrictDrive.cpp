#include "StrictDrive.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <numeric>

namespace nvme_linux {

namespace {

constexpr std::uint16_t kInvalidField = 0x4002;
constexpr std::uint16_t kInvalidSlot = 0x4106;
constexpr std::uint16_t kInvalidImage = 0x4107;
constexpr std::uint16_t kOverlap = 0x0114;
constexpr std::size_t kHeader = 12;  // length, check sum, revision

std::uint32_t checkSum(const Bytes& image) {
  return std::accumulate(image.begin() + kHeader, image.end(), 0U,
                         [](std::uint32_t sum, std::uint8_t byte) { return sum * 31 + byte; });
}

std::uint32_t wordAt(const Bytes& image, std::size_t offset) {
  std::uint32_t word = 0;
  std::memcpy(&word, &image.at(offset), sizeof word);
  return word;
}

bool isWhole(const Bytes& image) {
  return image.size() >= kHeader && wordAt(image, 0) == image.size() && wordAt(image, 4) == checkSum(image);
}

void put(Bytes& data, std::size_t offset, std::string_view text, std::size_t width) {
  for (std::size_t i = 0; i < width; ++i)
    data.at(offset + i) = static_cast<std::uint8_t>(i < text.size() ? text[i] : ' ');
}

bool isFirmwareCommand(const nvme_passthru_cmd& command) {
  return command.opcode == 0x10 || command.opcode == 0x11;
}

/// The sysfs of a machine. Made once for each number of controllers: nobody writes there, and a test has
/// thousands of hosts.
const ScratchFolder& folderOf(unsigned int controllers) {
  static std::map<unsigned int, ScratchFolder> folders;
  const auto known = folders.find(controllers);
  if (known != folders.end()) return known->second;
  const ScratchFolder& folder = folders[controllers];
  for (unsigned int i = 0; i < controllers; ++i) {
    const std::string number = std::to_string(i);
    const std::array<std::pair<const char*, std::string>, 10> attributes{
        {{"dev", "240:" + number},
         {"transport", "pcie"},
         {"address", "0000:0" + std::to_string(i + 1) + ":00.0"},
         {"serial", "SN-STRICT"},
         {"model", "Strict"},
         {"subsysnqn", "nqn.strict"},
         {"device/vendor", "0x144d"},
         {"device/device", "0xa801"},
         {"device/subsystem_vendor", "0x1028"},
         {"device/subsystem_device", "0x1fd9"}}};
    for (const auto& [name, text] : attributes)
      writeFile(folder / "sys/class/nvme" / ("nvme" + number) / name, text + "\n");
  }
  return folder;
}

class StrictDevice : public Device {
 public:
  StrictDevice(StrictDrive& drive, std::map<std::string, int>& locks, std::string name)
      : m_drive(drive), m_locks(locks), m_name(std::move(name)) {}
  ~StrictDevice() override {
    if (m_isLocked) --m_locks[m_name];
  }

  Outcome lock() override {
    if (m_locks[m_name] != 0) return Outcome::failed(EBUSY);
    ++m_locks[m_name];
    m_isLocked = true;
    return Outcome::success();
  }
  std::string number() override { return "240:" + m_name.substr(4); }
  Completion admin(nvme_passthru_cmd& command) override { return m_drive.carryOut(m_name, command); }

 private:
  StrictDrive& m_drive;
  std::map<std::string, int>& m_locks;
  std::string m_name;
  bool m_isLocked = false;
};

class StrictWatch : public ResetWatch {
 public:
  explicit StrictWatch(const StrictDrive& drive) : m_drive(drive), m_before(drive.resets()) {}
  std::optional<bool> wasReset() override { return m_drive.resets() != m_before; }

 private:
  const StrictDrive& m_drive;
  int m_before;
};

}  // namespace

Bytes strictImage(std::size_t size, char revision) {
  Bytes image(size);
  for (std::size_t i = kHeader; i < size; ++i) image[i] = static_cast<std::uint8_t>(i * 7 + i / 4096 + 1);
  image.at(8) = static_cast<std::uint8_t>(revision);
  const auto length = static_cast<std::uint32_t>(size);
  const std::uint32_t sum = checkSum(image);
  std::memcpy(&image[0], &length, sizeof length);
  std::memcpy(&image[4], &sum, sizeof sum);
  return image;
}

StrictDrive::StrictDrive(Options options)
    : m_options(options), m_running(options.running), m_runningRevision(0), m_next(options.next) {
  for (unsigned int slot = 1; slot <= options.slots; ++slot) m_slots[slot];
  m_runningRevision = 'A';
  m_slots[m_running] = strictImage(4096, m_runningRevision);
  if (m_next != 0) m_slots[m_next] = strictImage(4096, 'B');
}

char StrictDrive::revisionIn(unsigned int slot) const {
  const Bytes& image = m_slots.at(slot);
  return image.empty() ? '\0' : static_cast<char>(image[8]);
}

void StrictDrive::reset() {
  m_downloaded.clear();
  m_downloader.clear();
  m_wasOverlapped = false;
  if (m_next != 0) m_running = m_next;
  m_runningRevision = revisionIn(m_running);
  m_next = 0;
  ++m_resets;
}

Completion StrictDrive::carryOut(const std::string& controller, const nvme_passthru_cmd& command) {
  auto* const data = reinterpret_cast<std::uint8_t*>(command.addr);
  if (!isFirmwareCommand(command)) {
    const Bytes answer = command.opcode == 0x06 ? identity() : slotLog();
    std::copy(answer.begin(), answer.end(), data);
    return {};
  }
  if (beforeFirmwareCommand) beforeFirmwareCommand();
  const Fault fault = faults.empty() ? Fault::kNone : faults.front();
  if (!faults.empty()) faults.pop_front();
  if (fault == Fault::kRefused) return {.statusField = 0x021};
  if (fault == Fault::kRefusedForGood) return {.statusField = 0x4006};
  if (fault == Fault::kLostInReset) reset();
  if (fault == Fault::kLostBefore || fault == Fault::kLostInReset) return {.statusField = 0x371};
  if (fault == Fault::kEverythingIsSlow) clock += std::chrono::minutes(4);
  const std::uint32_t mud = m_wasOverlapped && m_options.detectsOverlaps ? 1 : 0;
  const std::uint16_t status = command.opcode == 0x11 ? download(controller, command) : commit(command);
  if (fault == Fault::kLostAfter) return {.error = EINTR};
  if (fault == Fault::kResetAfterwards) reset();
  return {.statusField = status, .dword0 = command.opcode == 0x10 ? mud : 0};
}

std::uint16_t StrictDrive::download(const std::string& controller, const nvme_passthru_cmd& command) {
  const std::size_t offset = std::size_t{command.cdw11} * 4;
  const std::size_t length = (std::size_t{command.cdw10} + 1) * 4;
  EXPECT_EQ(length, command.data_len);
  EXPECT_LE(length, std::size_t{4096} << m_options.transferShift) << "beyond the transfer limit";
  if (offset % m_options.granularity != 0) return kInvalidField;
  if (!m_downloader.empty() && m_downloader != controller) {
    m_wasOverlapped = true;
    return kOverlap;
  }
  if (offset < m_downloaded.size()) return kOverlap;
  EXPECT_EQ(offset, m_downloaded.size()) << "a gap";
  EXPECT_EQ(m_downloaded.size() % m_options.granularity, 0U) << "after a short piece";
  m_downloader = controller;
  const auto* const data = reinterpret_cast<const std::uint8_t*>(command.addr);
  m_downloaded.insert(m_downloaded.end(), data, data + length);
  return 0;
}

std::uint16_t StrictDrive::commit(const nvme_passthru_cmd& command) {
  const unsigned int slot = command.cdw10 & 7;
  EXPECT_EQ(command.cdw10 >> 3, 1U) << "another action than to store and activate at the next reset";
  if (slot == 0 || slot > m_options.slots || (slot == 1 && m_options.isFirstSlotReadOnly))
    return kInvalidSlot;
  if (!isWhole(m_downloaded)) return kInvalidImage;
  m_slots[slot] = std::move(m_downloaded);
  m_downloaded.clear();
  m_downloader.clear();
  (m_options.isLive ? m_running : m_next) = slot;
  if (m_options.isLive) m_runningRevision = revisionIn(slot);
  ++m_commits;
  return 0;
}

Bytes StrictDrive::identity() const {
  Bytes data(4096);
  put(data, 4, "SN-STRICT", 20);
  put(data, 24, "Strict", 40);
  put(data, 64, std::string(1, m_runningRevision), 8);
  data[77] = static_cast<std::uint8_t>(m_options.transferShift);
  data[256] = 4;
  data[260] = static_cast<std::uint8_t>((m_options.isFirstSlotReadOnly ? 1U : 0U) | m_options.slots << 1 |
                                        (m_options.detectsOverlaps ? 0x20U : 0U));
  data[319] = static_cast<std::uint8_t>(m_options.granularity / 4096);
  return data;
}

Bytes StrictDrive::slotLog() const {
  Bytes data(512);
  data[0] = static_cast<std::uint8_t>(m_next << 4 | m_running);
  for (unsigned int slot = 1; slot <= m_options.slots; ++slot) {
    if (!m_slots.at(slot).empty()) put(data, std::size_t{8} * slot, std::string(1, revisionIn(slot)), 8);
  }
  return data;
}

StrictHost::StrictHost(StrictDrive& drive, std::map<std::string, int>& locks, unsigned int controllers)
    : StrictHost(drive, locks, folderOf(controllers)) {}

StrictHost::StrictHost(StrictDrive& drive, std::map<std::string, int>& locks, const ScratchFolder& folder)
    : LinuxHost({.sysfs = folder / "sys", .devices = folder / "dev", .processes = folder / "proc"}),
      m_drive(drive),
      m_locks(locks) {}

std::vector<PciController> StrictHost::controllers() {
  return listControllers(*this);
}

Outcome StrictHost::open(const std::string& controller, std::unique_ptr<Device>& device) {
  device = std::make_unique<StrictDevice>(m_drive, m_locks, controller);
  return Outcome::success();
}

std::unique_ptr<ResetWatch> StrictHost::watchResets(const std::string& /*controller*/) {
  return std::make_unique<StrictWatch>(m_drive);
}

void StrictHost::report(int /*priority*/, const std::string& line) {
  m_log += line + "\n";
}

}  // namespace nvme_linux
