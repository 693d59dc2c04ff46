#include "FirmwareDrive.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace {

constexpr std::uint16_t kInvalidSlot = 0x4106;
constexpr std::uint16_t kInvalidImage = 0x4107;

void put(Bytes& data, std::size_t offset, std::size_t width, std::string_view text, char padding) {
  const auto begin = data.begin() + static_cast<std::ptrdiff_t>(offset);
  std::fill_n(begin, width, static_cast<std::uint8_t>(padding));
  std::copy_n(text.begin(), std::min(width, text.size()), begin);
}

void put16(Bytes& data, std::size_t offset, unsigned int value) {
  data[offset] = static_cast<std::uint8_t>(value);
  data[offset + 1] = static_cast<std::uint8_t>(value >> 8);
}

/// The next status that the test has chosen, success when it has chosen none.
std::uint16_t take(std::deque<std::uint16_t>& statuses) {
  if (statuses.empty()) return 0;
  const std::uint16_t status = statuses.front();
  statuses.pop_front();
  return status;
}

/// Success, and the three statuses that mean success with a reset owed.
bool isCommitted(std::uint16_t status) {
  static constexpr std::array kCommitted{0x000, 0x10B, 0x110, 0x111};
  return std::find(kCommitted.begin(), kCommitted.end(), status & 0x7FF) != kCommitted.end();
}

}  // namespace

FirmwareDrive::FirmwareDrive(DriveOptions options)
    : m_options(std::move(options)), m_log(m_options.folder / "commands.log", std::ios::app) {
  m_revisions[1] = m_options.revision;
}

void FirmwareDrive::reset() {
  const std::lock_guard lock(m_mutex);
  if (m_next != 0) m_running = std::exchange(m_next, 0);
  m_image.clear();
  m_hasGap = false;
  log("reset running " + m_revisions.at(m_running));
}

Bytes FirmwareDrive::identity() {
  const std::lock_guard lock(m_mutex);
  Bytes data(4096);
  put(data, 4, 20, m_options.serial, ' ');
  put(data, 24, 40, m_options.model, ' ');
  put(data, 64, 8, m_revisions.at(m_running), ' ');
  const std::uint8_t first = std::exchange(m_options.firstTransferShift, std::uint8_t{0});
  data[77] = first != 0 ? first : m_options.transferShift;
  put16(data, 78, 1);  // controller id, the one of Connect
  data[82] = 1;        // version 1.4
  data[81] = 4;
  data[256] = m_options.takesFirmware ? 0x04 : 0;
  data[260] = m_options.firmwareUpdates;
  put16(data, 270, m_options.activation);
  data[319] = m_options.granularity;
  put16(data, 320, 1);  // keep alive
  data[512] = 0x66;     // sizes of queue entries
  data[513] = 0x44;
  put16(data, 514, 64);  // commands outstanding
  data[536] = 1;         // SGLs
  put(data, 768, 256, m_options.name, '\0');
  put16(data, 1792, 4);  // I/O command capsule, in 16 bytes
  put16(data, 1796, 1);  // response capsule
  return data;
}

std::uint16_t FirmwareDrive::readSlots(Bytes& data) {
  const std::lock_guard lock(m_mutex);
  data.assign(512, 0);
  const bool isBusy = tellsOfAnUpdate();
  if (isBusy) log("busy");
  data[0] = static_cast<std::uint8_t>(m_next << 4 | (isBusy ? 0x08U : 0U) | m_running);
  for (std::size_t slot = 1; slot < m_revisions.size(); ++slot) {
    if (!m_revisions[slot].empty()) put(data, 8 * slot, 8, m_revisions[slot], ' ');
  }
  const bool isAfterCommit = m_next != 0 || m_running != 1;
  return isAfterCommit ? take(m_options.slotLogStatuses) : std::uint16_t{0};
}

bool FirmwareDrive::tellsOfAnUpdate() {
  if (m_options.busyReads != 0) {
    --m_options.busyReads;
    return true;
  }
  return !m_options.busyUntil.empty() && !std::filesystem::exists(m_options.busyUntil);
}

std::uint16_t FirmwareDrive::download(std::size_t offset, std::span<const std::uint8_t> piece) {
  const std::lock_guard lock(m_mutex);
  log("download " + std::to_string(offset) + " " + std::to_string(piece.size()));
  if (++m_pieces == m_options.diesAtPiece) std::_Exit(EXIT_FAILURE);
  const std::uint16_t status = take(m_options.pieceStatuses);
  if (status != 0) return status;
  if (offset == 0) {
    m_image.clear();
    m_hasGap = false;
  }
  m_hasGap = m_hasGap || offset != m_image.size();
  m_image.insert(m_image.end(), piece.begin(), piece.end());
  return 0;
}

std::uint16_t FirmwareDrive::commit(unsigned int slot, unsigned int action) {
  const std::lock_guard lock(m_mutex);
  log("commit slot " + std::to_string(slot) + " action " + std::to_string(action));
  if (m_options.diesAtCommit) std::_Exit(EXIT_FAILURE);
  const unsigned int slots = (m_options.firmwareUpdates >> 1) & 7;
  const bool isReadOnly = slot == 1 && (m_options.firmwareUpdates & 1) != 0;
  if (slot == 0 || slot > slots || isReadOnly) return kInvalidSlot;
  if (action != 1 || m_image.empty() || m_hasGap) return kInvalidImage;
  const std::uint16_t status = take(m_options.commitStatuses);
  if (isCommitted(status)) store(slot);
  return status;
}

void FirmwareDrive::store(unsigned int slot) {
  std::ofstream file(m_options.folder / "image", std::ios::binary);
  for (const std::uint8_t byte : m_image) file.put(static_cast<char>(byte));
  m_image.clear();
  m_revisions.at(slot) = m_options.newRevision;
  (m_options.isLive ? m_running : m_next) = slot;
}

void FirmwareDrive::log(const std::string& line) {
  m_log << line << std::endl;
}
