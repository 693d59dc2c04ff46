// Text for terminals.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tool {

/// Where text is shown. The default is no terminal at all.
struct Terminal {
  bool colour = false;
  std::size_t columns = 0;  ///< 0: as many as it takes
};

/// Standard output. Colour is used on a terminal only, and not when NO_COLOR is set or TERM is "dumb".
/// COLUMNS goes before the width that the terminal tells.
Terminal standardOutputTerminal();

/// Makes any text safe to print as one line on a terminal: control characters, characters that change the
/// direction of writing, and bytes that are not UTF-8 become dots.
std::string forTerminal(std::string_view text);

/// True when a person who reads `text` would miss something: characters without a width that are no accents,
/// or what `forTerminal` replaces.
bool hasInvisible(std::string_view text);

/// How many columns a text from `forTerminal` takes on a terminal: an ideograph two, a combining accent none.
std::size_t terminalWidth(std::string_view text);

/// Which end of a text is cut.
enum class Shorten { kFront, kBack };

/// Shortens a text from `forTerminal` to at most `width` columns, with "..." in place of what was cut. If
/// there is no room for that, returns `width` dots.
std::string shortened(std::string_view text, std::size_t width, Shorten end);

}  // namespace tool
