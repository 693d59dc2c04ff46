// Converts texts of the JSON files to the raw bytes of drive fields and back.

#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "DriveRecords.h"

namespace simulator {

/// The bytes that a text stands for: its characters U+0000 to U+00FF, one byte each, so that a JSON text can
/// hold any byte. Nothing if a character is beyond U+00FF. `text` must be valid UTF-8, as JSON texts are.
std::optional<std::string> bytesOf(std::string_view text);

/// The text that stands for the bytes.
std::string textOf(std::string_view bytes);

/// An address as text, two hexadecimal digits for bus and device, then the function: "3b:00.0".
std::string textOf(const DriveAddress& address);

/// The address that "bus:device.function" names, each part one or two hexadecimal digits.
std::optional<DriveAddress> addressOf(std::string_view text);

/// The value of a text of one to `digits` hexadecimal digits; nothing for any other text.
std::optional<unsigned> hexadecimalOf(std::string_view text, std::size_t digits);

}  // namespace simulator
