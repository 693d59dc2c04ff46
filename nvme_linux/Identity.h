#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace nvme_linux {

/// What Identify Controller (CNS 01h) says of a drive. Texts are ASCII, padded with blanks, without a NUL.
struct Identity {
  static constexpr std::size_t kLength = 4096;  ///< of the data structure, in bytes

  std::array<char, 20> serial{};   ///< SN
  std::array<char, 40> model{};    ///< MN
  std::array<char, 8> revision{};  ///< FR: of the running firmware
  bool takesFirmware{};            ///< OACS bit 2: knows Firmware Commit and Image Download
  unsigned int slots{};            ///< FRMW bits 3:1: firmware slots, numbered from 1; up to 7
  bool isFirstSlotReadOnly{};      ///< FRMW bit 0
  bool detectsOverlaps{};          ///< FRMW bit 5: a commit tells of other updates (MUD)
  std::size_t granularity{};       ///< FWUG of downloads, in bytes; 0: not stated; 4: no restriction
  std::size_t maximumTransfer{};   ///< MDTS of one command, in bytes; 0: no limit
  std::chrono::milliseconds activationTime{};  ///< MTFA, the longest to activate firmware; 0: not stated
};

/// Every content of `data` gives an identity; fields are taken as they stand.
Identity parseIdentity(std::span<const std::uint8_t, Identity::kLength> data);

/// A text without the blanks and line breaks around it.
std::string trimmed(std::string_view text);

/// A field of the drive as the kernel shows it: up to its first NUL, without the padding. For comparisons.
std::string textOf(std::span<const char> field);

/// Likewise with unprintable characters replaced. For messages.
std::string printable(std::span<const char> field);

}  // namespace nvme_linux
