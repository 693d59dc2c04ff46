#include "Image.h"

#include <syslog.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace nvme_linux {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kLongestImage = 128U << 20;  // an order of magnitude above any image

/// What an archive has at an offset. Long enough not to occur in an image by chance.
struct Signature {
  std::size_t offset;
  std::string_view bytes;
  std::string_view kind;
};

/// Makers ship images in archives and on bootable discs, and some drives take any bytes and fail at the next
/// start.
constexpr std::array kArchives{
    Signature{0, "PK\x03\x04"sv, "a zip archive"},
    Signature{0, "PK\x05\x06"sv, "a zip archive"},
    Signature{0, "\x1F\x8B\x08"sv, "a gzip archive"},
    Signature{4, "1AY&SY"sv, "a bzip2 archive"},
    Signature{0,
              "\xFD"
              "7zXZ\0"sv,
              "an xz archive"},
    Signature{0, "\x28\xB5\x2F\xFD"sv, "a zstd archive"},
    Signature{0, "\x04\x22\x4D\x18"sv, "an lz4 archive"},
    Signature{0, "7z\xBC\xAF\x27\x1C"sv, "a 7z archive"},
    Signature{0, "Rar!\x1A\x07"sv, "a rar archive"},
    Signature{0, "MSCF\0\0\0\0"sv, "a cab archive"},
    Signature{0, "!<arch>\n"sv, "a Debian package or ar archive"},
    Signature{0, "\xED\xAB\xEE\xDB"sv, "an RPM package"},
    Signature{0, "070701"sv, "a cpio archive"},
    Signature{257, "ustar"sv, "a tar archive"},
    Signature{0x8001, "CD001"sv, "an ISO 9660 image"},
};

bool has(const Signature& signature, std::string_view bytes) {
  return bytes.size() > signature.offset && bytes.substr(signature.offset).starts_with(signature.bytes);
}

}  // namespace

Outcome readImage(Host& host, const std::string& subject, const std::string& path,
                  std::vector<std::uint8_t>& image) {
  Outcome outcome = host.readFile(path, kLongestImage, image);
  std::string problem;
  if (outcome.isSuccess() && image.empty()) outcome = Outcome::failed(ENODATA);
  // Downloads count in dwords.
  if (outcome.isSuccess() && image.size() % 4 != 0) outcome = Outcome::failed(EINVAL);
  if (outcome.isSuccess()) problem = whyNoImage(image);
  if (!problem.empty()) outcome = Outcome::failed(EMEDIUMTYPE);
  if (!outcome.isSuccess()) {
    host.report(LOG_ERR,
                subject + ": payload " + path + " refused: " + (problem.empty() ? outcome.text() : problem));
  } else if (isText(image)) {
    host.report(LOG_WARNING,
                subject + ": payload " + path + " is a text; only the drive can tell if it is an image");
  }
  return outcome;
}

std::string_view archiveKind(std::string_view bytes) {
  const auto* const found = std::find_if(kArchives.begin(), kArchives.end(),
                                         [bytes](const Signature& archive) { return has(archive, bytes); });
  return found == kArchives.end() ? std::string_view() : found->kind;
}

std::string whyNoImage(std::span<const std::uint8_t> bytes) {
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (const std::string_view kind = archiveKind(text); !kind.empty())
    return "it is " + std::string(kind) + "; unpack it";
  // What an erased flash chip or a file with a hole reads as.
  for (const std::uint8_t blank : {std::uint8_t{0x00}, std::uint8_t{0xFF}}) {
    if (std::all_of(bytes.begin(), bytes.end(), [blank](std::uint8_t byte) { return byte == blank; }))
      return std::string("it is blank: every byte is ") + (blank == 0 ? "0x00" : "0xFF");
  }
  return {};
}

bool isText(std::span<const std::uint8_t> bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) {
    return (byte >= ' ' && byte <= '~') || byte == '\n' || byte == '\r' || byte == '\t';
  });
}

}  // namespace nvme_linux
