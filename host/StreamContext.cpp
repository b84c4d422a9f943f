#include "host/StreamContext.h"

#include <cstring>

#include "platform/os/paths.h"
#include "util/narrow.h"

namespace host {

std::int32_t StreamContext::readConfiguration(const char* key, char** value, std::uint32_t length) {
  const std::string* const text = settings_.find(key);
  if (text == nullptr) return -1;
  const std::size_t needed = text->size() + 1;
  if (needed > length) return qvs::util::narrow<std::int32_t>(needed);
  std::memcpy(*value, text->c_str(), needed);
  return 0;
}

void StreamContext::log(const char* text, std::uint32_t level, bool) {
  const std::string line = withNativePaths(text);
  if (level != kIMOLogError) {
    log_.warning(line);
    return;
  }
  // Only the last text: another error in between is news for the user.
  if (hidesRepeats_ && lastError_ == line) return;
  log_.error(line);
  lastError_ = line;
  if (attemptError_.empty()) attemptError_ = cause_.empty() ? line : cause_;
  if (errorCount_++ == 0) firstError_ = lastError_;
}

/// Only the directory and the separator after it are changed: a recording has no folders below, and any other backslash
/// in a line is no part of a path of ours.
std::string StreamContext::withNativePaths(std::string_view text) const {
  std::string line(text);
  if (modulePath_.empty()) return line;
  for (std::size_t at = line.find(modulePath_); at != std::string::npos; at = line.find(modulePath_, at)) {
    std::size_t end = at + modulePath_.size();
    const bool isFile = end < line.size() && line[end] == '\\';
    const bool isDirectory = end == line.size() || line[end] == '\'';
    if (isFile) ++end;
    if (isFile || isDirectory) line.replace(at, end - at, platform::os::toNative(line.substr(at, end - at)));
    at = end;
  }
  return line;
}

}  // namespace host
