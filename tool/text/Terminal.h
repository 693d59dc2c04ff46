#pragma once

#include <cstddef>

namespace tool {

/// What text is shown on; as it stands, no terminal at all.
struct Terminal {
  bool colour = false;
  std::size_t columns = 0;  ///< 0: as many as it takes
};

/// Standard output. Colour is used on a terminal only, and not when NO_COLOR is set or TERM is "dumb".
Terminal standardOutputTerminal();

}  // namespace tool
