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

std::string directoryOf(const std::string& native) {
  // At least one character, so that "/file" gives the root and not the current directory.
  const std::size_t slash = native.rfind('/');
  return slash == std::string::npos ? "." : native.substr(0, std::max<std::size_t>(slash, 1));
}

}  // namespace platform::os
