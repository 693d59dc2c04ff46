#include "InvisibleText.h"

#include <algorithm>
#include <array>

#include "TerminalText.h"

namespace tool {

bool hasInvisible(std::string_view text) {
  // Characters without a width that are no accents; `forTerminal` passes them.
  constexpr std::array<std::string_view, 9> kWidthless{"\u00AD", "\u034F", "\u180E", "\u200B", "\u200C",
                                                       "\u200D", "\u2060", "\u3164", "\uFEFF"};
  return forTerminal(text) != text ||
         std::any_of(kWidthless.begin(), kWidthless.end(),
                     [text](auto character) { return text.find(character) != std::string_view::npos; });
}

}  // namespace tool
