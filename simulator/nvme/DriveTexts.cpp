#include "DriveTexts.h"

#include <charconv>
#include <iomanip>
#include <sstream>

namespace simulator {

std::optional<std::string> bytesOf(std::string_view text) {
  // In UTF-8, U+0080 to U+00FF are the pairs that begin with C2 or C3.
  constexpr unsigned char kFirstPair = 0xC2;
  constexpr unsigned char kLastPair = 0xC3;
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto lead = static_cast<unsigned char>(text[i]);
    if (lead < 0x80) {
      bytes += text[i];
    } else if (lead >= kFirstPair && lead <= kLastPair) {
      // The JSON reader lets only valid UTF-8 through, so that the second byte is there.
      const auto trail = static_cast<unsigned char>(text[++i]);
      bytes += static_cast<char>((lead & 0x03) << 6 | (trail & 0x3F));
    } else {
      return std::nullopt;
    }
  }
  return bytes;
}

std::string textOf(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      text += c;
    } else {
      text += static_cast<char>(0xC0 | byte >> 6);
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

std::string textOf(const DriveAddress& address) {
  std::ostringstream text;
  text << std::hex << std::setfill('0') << std::setw(2) << +address.bus << ':' << std::setw(2)
       << +address.device << '.' << +address.function;
  return text.str();
}

std::optional<DriveAddress> addressOf(std::string_view text) {
  const std::size_t colon = text.find(':');
  const std::size_t dot = text.find('.');
  if (colon == std::string_view::npos || dot == std::string_view::npos || dot < colon) return std::nullopt;
  const auto bus = hexadecimalOf(text.substr(0, colon), 2);
  // More than PCI has devices and functions: a test may want an address that no server has.
  const auto device = hexadecimalOf(text.substr(colon + 1, dot - colon - 1), 2);
  const auto function = hexadecimalOf(text.substr(dot + 1), 2);
  if (!bus || !device || !function) return std::nullopt;
  return DriveAddress{static_cast<std::uint8_t>(*bus), static_cast<std::uint8_t>(*device),
                      static_cast<std::uint8_t>(*function)};
}

std::optional<unsigned> hexadecimalOf(std::string_view text, std::size_t digits) {
  unsigned number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, 16);
  if (text.size() > digits || error != std::errc() || rest != end) return std::nullopt;
  return number;
}

}  // namespace simulator
