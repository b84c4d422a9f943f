#pragma once

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <utility>

#include "platform/os/retried.h"

namespace platform::os {

/// Owns the descriptor of an open file or directory; -1 if it could not be opened, and errno says why.
class Descriptor {
 public:
  /// `mode` is that of a new file, before the umask.
  explicit Descriptor(const std::string& native, int flags, mode_t mode = 0666)
      : fd_(retried([&] { return ::open(native.c_str(), flags | O_CLOEXEC, mode); })) {}
  /// Takes over an open descriptor, or -1.
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  /// The number for system calls. It stays the property of this object.
  int get() const { return fd_; }
  explicit operator bool() const { return fd_ != -1; }
  // Never retried after EINTR: Linux has released the descriptor by then, and another thread may have got its number.
  /// Returns false if the system reports a late write error. The descriptor is closed either way.
  bool close() { return fd_ == -1 || ::close(std::exchange(fd_, -1)) == 0 || errno == EINTR; }
  /// Waits until the content is on the device.
  bool flush() const {
    return retried([this] { return ::fsync(fd_); }) == 0;
  }

 private:
  int fd_;
};

}  // namespace platform::os
