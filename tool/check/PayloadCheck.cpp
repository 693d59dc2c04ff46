#include <libxml/xmlstring.h>
#include <strings.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>

#include "Checks.h"
#include "FileStart.h"
#include "Image.h"
#include "Joined.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

constexpr char kRefused[] =
    "an update flashes nothing; its document lists every drive as if it had succeeded, with exit status 0";
constexpr char kRemedy[] = "put the one firmware file, and nothing else, into this folder";
constexpr char kUnpack[] = "take the firmware file out of it";
constexpr char kRefusedByLibrary[] = "the package's drive library refuses the file for every drive";
constexpr char kFlashedAsItIs[] =
    "nobody checks its content: the drive library is told to flash it onto every drive";

std::string listOf(const std::vector<std::string>& names) {
  constexpr std::size_t kShown = 8;
  return joined(std::span(names).first(std::min(names.size(), kShown))) +
         (names.size() > kShown ? ", ..." : "");
}

/// What the drive library is not sure of, since an image may begin with these few bytes by chance.
struct LikelyArchive {
  std::string_view start;
  std::string_view kind;
};
using namespace std::string_view_literals;
constexpr std::array kLikelyArchives{
    LikelyArchive{"PK\7\10"sv, "a part of a zip archive"}, LikelyArchive{"\x1F\x9D"sv, "a file of compress"},
    LikelyArchive{"BZh"sv, "a bzip2 archive"}, LikelyArchive{"LZIP"sv, "an lzip archive"},
    LikelyArchive{"\x5D\0\0"sv, "an LZMA archive"}};

/// The text without `start` and the blanks after it. Unchanged if it does not begin with `start`.
std::string_view without(std::string_view start, std::string_view end, std::string_view text) {
  constexpr std::string_view kSpace = " \t\r\n";
  if (!text.starts_with(start)) return text;
  text.remove_prefix(std::min(text.find(end), text.size() - end.size()) + end.size());
  text.remove_prefix(std::min(text.find_first_not_of(kSpace), text.size()));
  return text;
}

/// A page may begin with a byte order mark, the declaration of XML, and a comment of who has saved it.
bool isWebPage(std::string_view start) {
  start = without("", "", without("\xEF\xBB\xBF", "", start));
  start = without("<!--", "-->", without("<?xml", "?>", start));
  const auto begins = [start](std::string_view word) {
    return start.size() >= word.size() && strncasecmp(start.data(), word.data(), word.size()) == 0;
  };
  return begins("<!doctype html") || begins("<html");
}

bool isPlain(unsigned char c) {
  constexpr unsigned char kDelete = 0x7F;
  return c == '\t' || c == '\n' || c == '\r' || c == '\f' || (c >= ' ' && c != kDelete);
}

/// With a byte order mark, and mostly of characters below 256.
bool isUtf16(std::string_view start) {
  const bool isLittle = start.starts_with("\xFF\xFE");
  if (!isLittle && !start.starts_with("\xFE\xFF")) return false;
  std::size_t plain = 0;
  for (std::size_t i = 2; i + 1 < start.size(); i += 2) {
    const char high = start[isLittle ? i + 1 : i];
    const char low = start[isLittle ? i : i + 1];
    if (high == '\0' && isPlain(static_cast<unsigned char>(low))) ++plain;
  }
  return plain * 4 > start.size();
}

/// The start of a file may end within a character.
bool isUtf8(std::string start) {
  constexpr int kBytesACharacter = 4;
  for (int left = kBytesACharacter; left > 0 && !start.empty(); --left, start.pop_back()) {
    if (xmlCheckUTF8(reinterpret_cast<const unsigned char*>(start.c_str())) != 0) return true;
  }
  return false;
}

/// In UTF-8, UTF-16, or an encoding of one byte a character. Of the latter few are beyond ASCII, while the
/// bytes of erased flash memory all are.
bool isText(const std::string& start) {
  if (isUtf16(start)) return true;
  if (!std::all_of(start.begin(), start.end(), isPlain)) return false;
  const auto isForeign = [](unsigned char c) { return (c & 0x80U) != 0; };
  constexpr std::ptrdiff_t kFew = 3;
  return std::count_if(start.begin(), start.end(), isForeign) * kFew <= std::ssize(start) || isUtf8(start);
}

/// What is wrong with the content of the one file.
void checkContent(const Package& package, const fs::path& file, Findings& findings) {
  constexpr std::size_t kLongest = 0x9000;  // a disc image begins late
  const std::string start = startOf(file, kLongest);
  const auto* const likely =
      std::find_if(kLikelyArchives.begin(), kLikelyArchives.end(),
                   [&start](const LikelyArchive& archive) { return start.starts_with(archive.start); });
  if (const std::string_view archive = nvme_linux::archiveKind(start); !archive.empty()) {
    findings.push_back({"payload-archive", file, 0, "payload is " + std::string(archive),
                        package.hasOwnLibrary() ? kRefusedByLibrary : kFlashedAsItIs, kUnpack});
  } else if (likely != kLikelyArchives.end()) {
    findings.push_back(
        {"payload-archive", file, 0, "payload is " + std::string(likely->kind), kFlashedAsItIs, kUnpack});
  } else if (isWebPage(start)) {
    findings.push_back({"payload-web-page", file, 0, "payload is a web page", kFlashedAsItIs,
                        "download the firmware file itself; this may be the page of an error or of a login"});
  } else if (isText(start)) {
    findings.push_back({"payload-text", file, 0, "payload is a text", kFlashedAsItIs,
                        "check that this is the firmware file, and not its licence or its notes"});
  }
  std::error_code error;
  const std::uintmax_t size = fs::file_size(file, error);
  constexpr std::uintmax_t kUnit = 4;
  if (!error && package.hasOwnLibrary() && size % kUnit != 0) {
    findings.push_back({"payload-size", file, 0,
                        "payload has " + std::to_string(size) + " bytes, which is not a multiple of 4",
                        std::string("drives take firmware in units of 4 bytes: ") + kRefusedByLibrary,
                        "check that the file is whole and unchanged"});
  }
}

}  // namespace

Findings checkPayload(const Package& package) {
  const fs::path payload = package.folder / "payload";
  std::error_code error;
  if (!fs::exists(payload, error))
    return {{"payload-missing", payload, 0, "payload folder is missing", kRefused, kRemedy}};
  if (!fs::is_directory(payload, error)) {
    return {{"payload-not-folder", payload, 0, "payload is not a folder", kRefused,
             std::string("make it a folder; ") + kRemedy}};
  }
  const std::vector<std::string> names = namesIn(payload, error);
  if (error) {
    return {{"payload-unreadable", payload, 0, "payload folder cannot be read: " + error.message(), kRefused,
             kRemedy}};
  }
  if (names.empty()) return {{"payload-none", payload, 0, "payload folder is empty", kRefused, kRemedy}};
  if (names.size() > 1) {
    return {
        {"payload-several", payload, 0,
         "payload folder holds " + std::to_string(names.size()) + " entries instead of one: " + listOf(names),
         kRefused, kRemedy}};
  }
  const fs::path file = payload / names.front();
  if (!fs::is_regular_file(file, error)) {
    return {{"payload-not-file", file, 0, "payload is not a regular file",
             "its path goes to the drive library all the same, which decides what to do with it", kRemedy}};
  }
  if (fs::file_size(file, error) == 0) {
    return {{"payload-empty", file, 0, "payload is empty", "the drive library is told to flash an empty file",
             kRemedy}};
  }
  if (access(file.c_str(), R_OK) != 0) {
    return {{"payload-unreadable", file, 0, std::string("payload cannot be read: ") + std::strerror(errno),
             "the drive library is told to flash a file that it cannot read, unless it runs as root",
             modeRemedy("a+r", file, package.folder)}};
  }
  Findings findings;
  checkContent(package, file, findings);
  return findings;
}

}  // namespace tool
