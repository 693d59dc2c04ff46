#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace nvme_linux {

/// What the SMART / Health Information log page (LID 02h) says of the drive as a whole.
struct Health {
  static constexpr std::size_t kLength = 512;  ///< of the log page, in bytes

  /// Bits 0 to 5: spare below its threshold; temperature; reliability degraded; media read-only; backup of
  /// the volatile memory failed; persistent memory region read-only. 0: healthy.
  std::uint8_t criticalWarning{};
};

inline Health parseHealth(std::span<const std::uint8_t, Health::kLength> data) {
  return {.criticalWarning = data[0]};
}

}  // namespace nvme_linux
