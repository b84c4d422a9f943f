#include "host/input/FileInput.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/errors.h"
#include "platform/tagstream/krvo_mtg.h"
#include "wrappers/mtg/Exception.h"

namespace host {

FileInput::FileInput(const std::string& path, const StopSignal& stop)
    : name_(path), stop_(stop), fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), standardInput_(false) {
  if (fd_ == -1) throw InputError(fmt::format("cannot open '{}': {}", name_, std::strerror(errno)));
  struct stat status = {};
  mayWait_ = ::fstat(fd_, &status) != 0 || !S_ISREG(status.st_mode);
}

FileInput::FileInput(const StopSignal& stop)
    : name_("standard input"), stop_(stop), fd_(STDIN_FILENO), standardInput_(true) {}

std::uint32_t FileInput::read(void* buffer, std::uint32_t count) {
  while (waitForBytes()) {
    const ssize_t done = ::read(fd_, buffer, count);
    if (done >= 0) {
      // The library checks no signature, and a pipe cannot be read twice; see start().
      constexpr std::size_t kKept = 3;
      if (start_.size() < kKept) {
        start_.append(static_cast<const char*>(buffer),
                      std::min(static_cast<std::size_t>(done), kKept - start_.size()));
      }
      return static_cast<std::uint32_t>(done);
    }
    // EAGAIN: another process may have set our standard input to non-blocking.
    if (errno != EINTR && errno != EAGAIN) fail(std::strerror(errno));
  }
  isStopped_ = true;
  return 0;
}

void FileInput::seek(std::int64_t offset, std::uint32_t mode) {
  constexpr int kModes[] = {SEEK_SET, SEEK_CUR, SEEK_END};
  // Even if it is a file: the process that shares it may read on from where we are.
  if (standardInput_ || mode > 2) throw mtg::Exception(kKrvoMTGStreamFailed);
  if (::lseek(fd_, offset, kModes[mode]) != -1) return;
  // A named pipe is read front to back, like standard input. That is no failure for the user.
  if (errno == ESPIPE) throw mtg::Exception(kKrvoMTGStreamFailed);
  fail(std::strerror(errno));
}

std::int64_t FileInput::tell() {
  return ::lseek(fd_, 0, SEEK_CUR);
}

void FileInput::close() {
  if (fd_ != -1 && !standardInput_) ::close(fd_);
  fd_ = -1;
}

bool FileInput::waitForBytes() {
  if (!mayWait_) return !stop_.requested();
  if (stallLimit_.count() == 0) return stop_.waitReadable(fd_);
  if (stop_.waitReadable(fd_, std::chrono::steady_clock::now() + stallLimit_)) return true;
  if (stop_.requested()) return false;
  fail(fmt::format("no data for {:g} s", static_cast<double>(stallLimit_.count()) / 1000));
}

void FileInput::fail(const std::string& reason) {
  failure_ = reason;
  throw mtg::Exception(kKrvoMTGStreamFailed);
}

}  // namespace host
