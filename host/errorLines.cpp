#include "host/errorLines.h"

#include <algorithm>
#include <cstddef>

namespace host {

void logErrorLines(Log& log, std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = std::min(text.find('\n'), text.size());
    log.error(text.substr(0, length));
    text.remove_prefix(std::min(length + 1, text.size()));
  }
}

}  // namespace host
