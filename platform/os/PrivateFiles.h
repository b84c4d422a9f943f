#pragma once

#include <cstdint>

namespace platform::os {

/// For as long as it lives, what the process makes is for its owner alone, files and directories, from the first byte.
/// The umask belongs to the whole process: for programs that make files on one thread.
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
