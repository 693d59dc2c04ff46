// Text for terminals.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tool {

/// What text is shown on; as it stands, no terminal at all.
struct Terminal {
  bool colour = false;
  std::size_t columns = 0;  ///< 0: as many as it takes
};

/// Standard output. Colour is used on a terminal only, and not when NO_COLOR is set or TERM is "dumb".
Terminal standardOutputTerminal();

/// `text`, which may hold anything, as one line that a terminal shows and does not obey: control characters,
/// those that turn the direction of writing, and bytes that are no UTF-8 become dots.
std::string forTerminal(std::string_view text);

/// True when a person who reads `text` would miss something: characters without a width that are no accents,
/// or what `forTerminal` replaces.
bool hasInvisible(std::string_view text);

/// How many columns a text from `forTerminal` takes there: an ideograph two, a combining accent none.
std::size_t terminalWidth(std::string_view text);

/// Which end of a text gives way.
enum class Shorten { kFront, kBack };

/// A text from `forTerminal` in at most `width` columns, with "..." in place of what had to go. Without room
/// for that, as many dots as there are columns.
std::string shortened(std::string_view text, std::size_t width, Shorten end);

}  // namespace tool
