#pragma once

#include <string>
#include <utility>

namespace host {

/// An advisory lock on a directory (flock(2)), for all processes that use this class. It ends with the object, and with
/// the process, even after a kill. A lock file would be a foreign entry in the recording and would outlive a kill.
/// Movable; an object that was moved from has no lock. Belongs to one thread.
class DirectoryLock {
 public:
  enum class State {
    /// This object has the lock.
    kHeld,
    /// Another process, or another object of this one, has the lock.
    kTaken,
    /// The file system has no locks.
    kUnsupported,
    /// There is no directory, or it cannot be opened. errno has the reason until the next call.
    kUnopened,
  };

  /// Tries to lock the directory at `path`. Does not wait, does not follow a symbolic link, and does not throw: see
  /// state().
  explicit DirectoryLock(const std::string& path);
  ~DirectoryLock();
  DirectoryLock(DirectoryLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)), state_(other.state_) {}
  DirectoryLock& operator=(DirectoryLock&& other) noexcept {
    std::swap(fd_, other.fd_);
    std::swap(state_, other.state_);
    return *this;
  }

  State state() const { return state_; }
  /// Whether the locked directory is the one at `path` now. It may have been moved between opening and locking.
  bool isAt(const std::string& path) const;
  /// Who has the lock, such as "process 1234 (k2r)"; "another process" if the system does not say. For kTaken only.
  std::string holder() const;

 private:
  /// -1 if it is not open. Closing it ends the lock.
  int fd_;
  /// Of the attempt in the constructor.
  State state_;
};

/// Who has the lock of a directory, as DirectoryLock::holder() says it; empty if nobody is known to. Takes no lock:
/// even a short one would refuse a recorder that starts at this moment.
std::string lockHolder(const std::string& path);

}  // namespace host
