#include "platform/os/programDirectory.h"

#include <filesystem>
#include <system_error>

namespace platform::os {

std::string programDirectory() {
  std::error_code error;
  return std::filesystem::read_symlink("/proc/self/exe", error).parent_path().string();
}

}  // namespace platform::os
