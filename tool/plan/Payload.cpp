#include "Payload.h"

#include <nettle/sha2.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "FileStart.h"

namespace fs = std::filesystem;

namespace tool {

namespace {

std::string hexadecimal(const std::array<std::uint8_t, SHA256_DIGEST_SIZE>& bytes) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kDigits.at(byte >> 4U);
    text += kDigits.at(byte & 0xFU);
  }
  return text;
}

/// Empty when the file cannot be read to its end; errno says why then.
std::string sha256Of(const fs::path& file) {
  std::ifstream stream(file, std::ios::binary);
  sha256_ctx context{};
  sha256_init(&context);
  std::array<char, 65536> buffer{};
  while (stream) {
    stream.read(buffer.data(), buffer.size());
    sha256_update(&context, static_cast<std::size_t>(stream.gcount()),
                  reinterpret_cast<const std::uint8_t*>(buffer.data()));
  }
  if (!stream.eof()) return {};
  std::array<std::uint8_t, SHA256_DIGEST_SIZE> digest{};
  sha256_digest(&context, digest.size(), digest.data());
  return hexadecimal(digest);
}

}  // namespace

Payload readPayload(const fs::path& folder) {
  const fs::path place = folder / "payload";
  const auto none = [&](const std::string& why) { return Payload{.problem = place.string() + ": " + why}; };
  std::error_code error;
  const std::vector<std::string> names = namesIn(place, error);
  if (error) return none(error.message());
  if (names.size() != 1) return none("holds " + std::to_string(names.size()) + " files instead of one");
  const fs::path file = place / names.front();
  // A pipe would keep the reader waiting.
  if (!fs::is_regular_file(file, error)) return none(names.front() + " is no regular file");
  if (fs::file_size(file, error) == 0) return none(names.front() + " is empty");
  errno = 0;
  std::string sha256 = sha256Of(file);
  if (sha256.empty()) return none(names.front() + " cannot be read: " + std::strerror(errno));
  return {.name = names.front(), .sha256 = std::move(sha256)};
}

}  // namespace tool
