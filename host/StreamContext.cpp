#include "host/StreamContext.h"

#include <cstring>

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
  if (level != kIMOLogError) {
    log_.warning(text);
    return;
  }
  if (hidesRepeats_ && lastError_ == text) return;
  log_.error(text);
  lastError_ = text;
  if (errorCount_++ == 0) firstError_ = lastError_;
}

}  // namespace host
