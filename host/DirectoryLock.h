#pragma once

#include <string>
#include <utility>

namespace host {

/// An advisory lock of a directory (flock(2)). It ends with the object, and with the process, however that ends.
/// Movable; one that was moved from holds nothing.
class DirectoryLock {
 public:
  enum class State {
    kHeld,
    /// Somebody else has it.
    kTaken,
    /// The file system has no locks.
    kUnsupported,
    /// There is no directory, or it cannot be opened; errno says why.
    kUnopened,
  };

  /// Does not wait, and follows no link.
  explicit DirectoryLock(const std::string& path);
  ~DirectoryLock();
  DirectoryLock(DirectoryLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)), state_(other.state_) {}
  DirectoryLock& operator=(DirectoryLock&& other) noexcept {
    std::swap(fd_, other.fd_);
    std::swap(state_, other.state_);
    return *this;
  }

  State state() const { return state_; }
  /// Whether the directory is still the one at `path`: it may have been moved between the opening and the lock.
  bool isAt(const std::string& path) const;
  /// Who has it, such as "process 1234 (k2r)", as far as the system tells.
  std::string holder() const;

 private:
  int fd_;
  State state_;
};

/// Who has the lock of a directory, as DirectoryLock::holder() says it; empty if nobody is known to. Takes no lock:
/// even a short one would refuse a recorder that starts at this moment.
std::string lockHolder(const std::string& path);

}  // namespace host
