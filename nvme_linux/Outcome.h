// Statuses of NVMe commands as the kernel hands them back: status code in bits 7:0, status code type in bits
// 10:8, retry delay in bits 12:11, More in bit 13, Do Not Retry in bit 14. Names are those of the NVM Express
// base standard.

#pragma once

#include <string>

namespace nvme_linux {

namespace status {

/// The status proper, type and code; what is above them says nothing of the outcome. 0: success.
int statusOf(int result);

/// Firmware Commit's success with a reset still owed, and what the library returns for it whatever the kind
/// of reset.
inline constexpr int kResetOwed = 0x10B;

/// True for the statuses of a Firmware Commit that did commit but needs a reset of some kind. Bits above the
/// status are ignored.
bool isResetOwed(int result);

/// True when the drive refused the command but did not forbid to send it again.
bool mayRepeat(int result);

/// True when the command may be lost rather than refused: the path to the drive failed, or somebody aborted
/// it. A reset may have thrown away what was downloaded before, so that no firmware command can follow.
bool isLost(int result);

/// For the system log: name and number of a status, or the text of a negative errno.
std::string describe(int result);

}  // namespace status

}  // namespace nvme_linux
