#pragma once

#include <cstdint>

namespace platform::os {

/// While an object of this class lives, files and directories that the process creates are accessible to their owner
/// only, from the moment they exist: no chmod afterwards, which would leave a gap.
///
/// Sets the umask, which belongs to the whole process. Only for programs that create files on one thread; the module,
/// whose host may have many threads, must not use it. Objects may nest, and are destroyed in reverse order.
class PrivateFiles {
 public:
  PrivateFiles() noexcept;
  ~PrivateFiles();
  PrivateFiles(const PrivateFiles&) = delete;
  PrivateFiles& operator=(const PrivateFiles&) = delete;

 private:
  std::uint32_t old_;
};

}  // namespace platform::os
