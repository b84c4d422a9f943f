#include "platform/os/paths.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace platform::os {

std::string toNative(std::string_view path) {
  std::string native(path);
  std::replace(native.begin(), native.end(), '\\', '/');
  return native;
}

// Not by argv[0], which a caller can set to anything and a module never sees.
std::string programDirectory() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

}  // namespace platform::os
