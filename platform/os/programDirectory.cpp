#include "platform/os/programDirectory.h"

#include <filesystem>
#include <system_error>

namespace platform::os {

// Not by argv[0], which a caller can set to anything and a module never sees.
std::string programDirectory() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

}  // namespace platform::os
