#include "host/DirectoryLock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <sstream>

#include "platform/os/retried.h"

namespace host {
namespace {

/// The process with a lock on the inode, by the system's table of locks; 0 if the table does not have it.
long lockingProcess(const struct stat& directory) {
  // The form of the table: device numbers in hexadecimal, the inode in decimal.
  const std::string inode =
      fmt::format("{:02x}:{:02x}:{}", major(directory.st_dev), minor(directory.st_dev), directory.st_ino);
  std::ifstream table("/proc/locks");
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string number, kind, strength, access, place;
    long process = 0;
    if (fields >> number >> kind >> strength >> access >> process >> place && kind == "FLOCK" && place == inode) {
      return process;
    }
  }
  return 0;
}

std::string nameOf(long process) {
  std::string program;
  std::ifstream file(fmt::format("/proc/{}/comm", process));
  std::getline(file, program);
  return program.empty() ? fmt::format("process {}", process) : fmt::format("process {} ({})", process, program);
}

}  // namespace

DirectoryLock::DirectoryLock(const std::string& path)
    : fd_(platform::os::retried([&] { return ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC); })),
      state_(State::kUnopened) {
  if (fd_ == -1) return;
  if (platform::os::retried([this] { return ::flock(fd_, LOCK_EX | LOCK_NB); }) == 0) {
    state_ = State::kHeld;
  } else {
    // Any other error means that flock() does not work on this file system. That must not keep anybody from recording.
    state_ = errno == EWOULDBLOCK ? State::kTaken : State::kUnsupported;
  }
}

DirectoryLock::~DirectoryLock() {
  if (fd_ != -1) ::close(fd_);
}

bool DirectoryLock::isAt(const std::string& path) const {
  struct stat own {};
  struct stat there {};
  // lstat(): a link to the directory at its old path would be another place.
  return fd_ != -1 && ::fstat(fd_, &own) == 0 && ::lstat(path.c_str(), &there) == 0 && own.st_dev == there.st_dev &&
         own.st_ino == there.st_ino;
}

std::string DirectoryLock::holder() const {
  struct stat own {};
  const long process = fd_ != -1 && ::fstat(fd_, &own) == 0 ? lockingProcess(own) : 0;
  return process <= 0 ? "another process" : nameOf(process);
}

std::string lockHolder(const std::string& path) {
  struct stat there {};
  const long process = ::stat(path.c_str(), &there) == 0 ? lockingProcess(there) : 0;
  return process <= 0 ? "" : nameOf(process);
}

}  // namespace host
