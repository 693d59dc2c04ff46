#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

namespace tool {

Terminal standardOutputTerminal() {
  if (isatty(STDOUT_FILENO) != 1) return {};
  const char* const kind = std::getenv("TERM");
  const char* const refused = std::getenv("NO_COLOR");
  winsize size{};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0;
  return {.colour =
              (refused == nullptr || *refused == '\0') && (kind == nullptr || std::strcmp(kind, "dumb") != 0),
          .columns = known ? size.ws_col : std::size_t{0}};
}

}  // namespace tool
