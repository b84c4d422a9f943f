#include "platform/os/paths.h"

#include <algorithm>

namespace platform::os {

std::string toNative(std::string_view path) {
  std::string native(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

}  // namespace platform::os
