#include "TerminalText.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <functional>
#include <utility>
#include <vector>

namespace tool {

namespace {

/// Documents are UTF-8, whatever the user's locale is. Where the system lacks this one, all but ASCII becomes
/// dots.
class Utf8Locale {
 public:
  Utf8Locale() : m_locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    if (m_locale != nullptr) m_before = uselocale(m_locale);
  }
  ~Utf8Locale() {
    if (m_locale == nullptr) return;
    uselocale(m_before);
    freelocale(m_locale);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  locale_t m_locale;
  locale_t m_before = nullptr;
};

bool turnsDirection(wchar_t character) {
  return character == 0x61C || character == 0x200E || character == 0x200F ||
         (character >= 0x202A && character <= 0x202E) || (character >= 0x2066 && character <= 0x2069);
}

/// Every character with its columns, -1 for what is not to be shown: a single byte where there is no
/// character.
void forEachCharacter(std::string_view text, const std::function<void(std::string_view, int)>& visit) {
  const Utf8Locale locale;
  std::mbstate_t state{};
  while (!text.empty()) {
    wchar_t character = 0;
    std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
    const bool valid = length > 0 && length <= text.size();
    if (!valid) {
      length = 1;
      state = {};
    }
    visit(text.substr(0, length), valid && !turnsDirection(character) ? wcwidth(character) : -1);
    text.remove_prefix(length);
  }
}

/// True for nearly every text. Such a text needs no locale.
bool isPrintableAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

/// COLUMNS goes first, as with other programs: a person sets it where the terminal does not know its width.
std::size_t columnsOfStandardOutput() {
  const char* const text = std::getenv("COLUMNS");
  std::size_t columns = 0;
  if (text != nullptr) std::from_chars(text, text + std::strlen(text), columns);
  winsize size{};
  if (columns == 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) columns = size.ws_col;
  return columns;
}

}  // namespace

Terminal standardOutputTerminal() {
  if (isatty(STDOUT_FILENO) != 1) return {};
  const char* const kind = std::getenv("TERM");
  const char* const refused = std::getenv("NO_COLOR");
  return {.colour =
              (refused == nullptr || *refused == '\0') && (kind == nullptr || std::strcmp(kind, "dumb") != 0),
          .columns = columnsOfStandardOutput()};
}

std::string forTerminal(std::string_view text) {
  if (isPrintableAscii(text)) return std::string(text);
  std::string shown;
  forEachCharacter(text, [&shown](std::string_view character, int columns) {
    shown += columns < 0 ? std::string_view(".") : character;
  });
  return shown;
}

bool hasInvisible(std::string_view text) {
  // Characters without a width that are no accents; `forTerminal` passes them.
  constexpr std::array<std::string_view, 9> kWidthless{"\u00AD", "\u034F", "\u180E", "\u200B", "\u200C",
                                                       "\u200D", "\u2060", "\u3164", "\uFEFF"};
  return forTerminal(text) != text ||
         std::any_of(kWidthless.begin(), kWidthless.end(),
                     [text](auto character) { return text.find(character) != std::string_view::npos; });
}

std::size_t terminalWidth(std::string_view text) {
  if (isPrintableAscii(text)) return text.size();
  std::size_t width = 0;
  forEachCharacter(text, [&width](std::string_view, int columns) {
    width += columns < 0 ? 1U : static_cast<std::size_t>(columns);
  });
  return width;
}

std::string shortened(std::string_view text, std::size_t width, Shorten end) {
  constexpr std::string_view kDots = "...";
  if (terminalWidth(text) <= width) return std::string(text);
  if (width <= kDots.size()) return std::string(kDots.substr(0, width));
  std::vector<std::pair<std::string_view, std::size_t>> characters;
  forEachCharacter(text, [&characters](std::string_view character, int columns) {
    characters.emplace_back(character, columns < 0 ? 1U : static_cast<std::size_t>(columns));
  });
  if (end == Shorten::kFront) std::reverse(characters.begin(), characters.end());
  std::size_t left = width - kDots.size();
  std::size_t bytes = 0;
  for (const auto& [character, columns] : characters) {
    if (columns > left) break;
    left -= columns;
    bytes += character.size();
  }
  return end == Shorten::kFront ? std::string(kDots) + std::string(text.substr(text.size() - bytes))
                                : std::string(text.substr(0, bytes)) + std::string(kDots);
}

}  // namespace tool
