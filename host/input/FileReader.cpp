#include "host/input/FileReader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "host/errors.h"

namespace host {
namespace {

constexpr std::size_t kBufferSize = std::size_t{64} << 10;

}  // namespace

FileReader::FileReader(const std::string& path, const StopSignal& stop)
    : name_(path), stop_(stop), fd_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), owned_(true), buffer_(kBufferSize) {
  if (fd_ == -1) throw InputError(fmt::format("cannot open '{}': {}", name_, std::strerror(errno)));
}

FileReader::FileReader(const StopSignal& stop)
    : name_("standard input"), stop_(stop), fd_(STDIN_FILENO), owned_(false), buffer_(kBufferSize) {}

FileReader::~FileReader() {
  if (owned_) ::close(fd_);
}

std::size_t FileReader::read(std::span<std::byte> target) {
  std::size_t done = 0;
  while (done < target.size() && (!pending_.empty() || refill())) {
    const std::size_t count = std::min(pending_.size(), target.size() - done);
    std::copy_n(pending_.begin(), count, target.begin() + static_cast<std::ptrdiff_t>(done));
    pending_ = pending_.subspan(count);
    done += count;
  }
  return done;
}

void FileReader::skip(std::size_t count) {
  while (count > 0 && (!pending_.empty() || refill())) {
    const std::size_t passed = std::min(pending_.size(), count);
    pending_ = pending_.subspan(passed);
    count -= passed;
  }
}

bool FileReader::refill() {
  while (stop_.waitReadable(fd_)) {
    const ssize_t count = ::read(fd_, buffer_.data(), buffer_.size());
    if (count >= 0) {
      pending_ = std::span(buffer_).first(static_cast<std::size_t>(count));
      return count > 0;
    }
    if (errno != EINTR && errno != EAGAIN) {
      throw InputError(fmt::format("cannot read {}: {}", name_, std::strerror(errno)));
    }
  }
  return false;
}

}  // namespace host
