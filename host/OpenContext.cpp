#include "host/OpenContext.h"

#include <cstring>
#include <string_view>

#include "util/narrow.h"

namespace host {

std::int32_t OpenContext::property(const char* section, const char* key, char* buffer, std::uint32_t size) {
  if (std::string_view(section) != "recording") return -1;
  const std::string* const text = settings_.find(key);
  if (text == nullptr) return -1;
  const std::size_t length = text->size();
  // Nothing is copied then: the module asks again with a larger buffer.
  if (length >= size) return qvs::util::narrow<std::int32_t>(length);
  std::memcpy(buffer, text->c_str(), length + 1);
  return 0;
}

}  // namespace host
