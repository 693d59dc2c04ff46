#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <span>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

/// What a test chooses for a drive. Statuses are those of 15 bits, Do Not Retry and More included.
struct DriveOptions {
  std::filesystem::path folder;  ///< where the drive keeps its log of commands and the images that it took
  std::uint16_t port = 0;
  std::string name;  ///< the subsystem's
  std::string serial;
  std::string model = "VM drive";
  std::string revision = "OLD_REV";
  std::string newRevision = "NEW_REV";  ///< of any image that it takes
  std::uint8_t firmwareUpdates = 3 << 1;
  std::uint8_t granularity = 0;
  std::uint8_t transferShift = 5;
  std::uint8_t firstTransferShift = 0;  ///< of the first identity, which the kernel asks for; 0: no other one
  std::uint16_t activation = 0;
  bool takesFirmware = true;
  bool isLive = false;                      ///< runs new firmware at once
  std::deque<std::uint16_t> pieceStatuses;  ///< of the first pieces that arrive, in order
  std::deque<std::uint16_t> commitStatuses;
  std::deque<std::uint16_t> slotLogStatuses;  ///< of the first reads after a commit
  unsigned int busyReads = 0;                 ///< reads of the slot log that tell of an update in progress
  unsigned int diesAtPiece = 0;               ///< the process ends when this piece (from 1) arrives
  bool diesAtCommit = false;                  ///< likewise, when a commit arrives: without effect and answer
  std::filesystem::path busyUntil;            ///< likewise, until this file is there
};

/// A drive that takes firmware: identity, slots and the two commands. Used by several threads.
class FirmwareDrive {
 public:
  explicit FirmwareDrive(DriveOptions options);

  const DriveOptions& options() const { return m_options; }

  /// The controller was reset: firmware that was committed for that runs now.
  void reset();

  Bytes identity();

  /// Both return the status; 0 for success.
  std::uint16_t readSlots(Bytes& log);
  std::uint16_t download(std::size_t offset, std::span<const std::uint8_t> piece);
  std::uint16_t commit(unsigned int slot, unsigned int action);

 private:
  bool tellsOfAnUpdate();
  void log(const std::string& line);
  void store(unsigned int slot);

  DriveOptions m_options;
  std::mutex m_mutex;
  std::ofstream m_log;
  std::array<std::string, 8> m_revisions;  ///< by slot; the first is unused
  unsigned int m_running = 1;
  unsigned int m_next = 0;
  Bytes m_image;          ///< without gaps, from its begin on
  bool m_hasGap = false;  ///< a piece came that did not follow the one before
  unsigned int m_pieces = 0;
};
