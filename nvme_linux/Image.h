#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "Host.h"

namespace nvme_linux {

/// Reads a firmware image whole. Fails with ENODATA for an empty file, EINVAL for what is no regular file or
/// no multiple of 4 bytes, EFBIG above 128 MiB, EMEDIUMTYPE for an archive or a blank image, or the file's
/// own errno. Every failure is one line to `host`, and so is a text, which is read all the same; lines begin
/// with `subject`. `image` is undefined on failure.
Outcome readImage(Host& host, const std::string& subject, const std::string& path,
                  std::vector<std::uint8_t>& image);

/// What kind of archive or disc image the bytes begin as: "a gzip archive". Empty for anything else. Disc
/// images tell after the first 32 KiB.
std::string_view archiveKind(std::string_view bytes);

/// Why no drive can take these bytes: "it is a gzip archive", "it is blank". Empty when nothing speaks
/// against them; only the drive can check more.
std::string whyNoImage(std::span<const std::uint8_t> bytes);

/// Printable ASCII and line breaks alone.
bool isText(std::span<const std::uint8_t> bytes);

}  // namespace nvme_linux
