// What a drive library's answer means.

#pragma once

#include <cstdint>
#include <string>

namespace tool {

/// A drive library's answer to a flash in words, with what to do: "263 Invalid Firmware Image: the drive
/// refused the payload as not made for it. Check …". Positive numbers are read as NVMe statuses and negative
/// ones as errno values, as the library that comes with nvmepcissd has them; a drive maker's may differ,
/// which an unknown number says.
std::string describeCode(std::int32_t code);

}  // namespace tool
