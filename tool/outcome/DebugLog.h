// A run's debug log, read back: which drives were found, what the drive library answered for each of them,
// and what went wrong around it.
//
//   [2026-01-31T12:00:00] : <source, right-aligned to 50>:<line, right-aligned to 5>: <message>
//
// Messages are the component's fixed texts. A value in a message (a serial number, a raw byte of an address)
// may hold a line feed; a line without the time stamp therefore continues the message before it.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// What the log says of the flash of one drive.
enum class LoggedFlash {
  kNone,     ///< never tried
  kDone,     ///< the library answered 0 or 267; the log does not tell which
  kRefused,  ///< the library answered anything else
  kUnended,  ///< tried, but the log ends before the answer
};

/// A drive in the order of discovery.
struct LoggedDrive {
  std::string serial{};                   ///< without its padding; may be empty
  std::string model{};                    ///< without its padding
  std::optional<std::string> revision{};  ///< as read before any flash; none when it could not be read
  std::string name{};                     ///< the marketing name; empty when the package has none
  std::string vendor{}, device{}, subVendor{}, subDevice{};  ///< hexadecimal, without leading zeros
  std::string address{};  ///< "41:02.0", hexadecimal; empty where the log lacks one of the bytes
  LoggedFlash flash = LoggedFlash::kNone;
  std::int32_t code = 0;  ///< the library's answer; meaningful for kRefused only
};

/// Something that went wrong, or that changes what the documents mean.
struct LoggedTrouble {
  std::string
      where;  ///< "install script", "drive library", "discovery", "payload", "rollback", "document", "memory"
  std::string problem;  ///< one line for a person
  std::string remedy;   ///< what to do about it
};

/// One command of a process: `-i -u` runs two of them.
struct LoggedRun {
  bool isUpdate = false;
  std::vector<LoggedDrive> drives{};
  std::vector<LoggedTrouble> troubles{};
  std::string payload{};        ///< path of the payload file; empty when none was chosen
  bool payloadRefused = false;  ///< the payload folder held no entry or several: no drive was touched
  bool ended = false;           ///< the command came to its end; false for a log that is cut off
  /// Everything was flashed that was to be: false as long as a flash may still follow.
  bool flashingEnded = false;
};

/// Reads a whole log. Bytes that are no log give no runs; nothing is ever thrown for content. Time and memory
/// grow linearly with the text.
std::vector<LoggedRun> parseDebugLog(std::string_view text);

}  // namespace tool
