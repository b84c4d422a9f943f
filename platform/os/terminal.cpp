#include "platform/os/terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace platform::os {

std::optional<std::size_t> terminalWidth() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return std::nullopt;
  return size.ws_col;
}

}  // namespace platform::os
