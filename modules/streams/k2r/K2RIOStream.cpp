#include "modules/streams/k2r/K2RIOStream.h"

#include <utility>

#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

constexpr std::uint32_t kTruncateFlags = K2RIOStream::kKeepFlags | kIMOTruncate;

}  // namespace

K2RIOStream::~K2RIOStream() {
  try {
    K2RIOStream::close();
  } catch (...) {  // An exception of the host's close() would end the process here.
  }
}

void K2RIOStream::release() {
  if (--references_ == 0) close();
}

void K2RIOStream::open() {
  // Without a handle, reads and writes return 0, which the container library reports as its own failure.
  handle_ = fileContext_->open(path_.c_str(), append_ ? kKeepFlags : kTruncateFlags, kFileMode, 0);
  position_ = 0;
  IMOFileStatus status;
  if (fileContext_->fileStatus(handle_, &status, 0) == 0) size_ = static_cast<std::uint64_t>(status.size);
}

void K2RIOStream::close() {
  if (handle_ == -1) return;
  const std::int32_t handle = std::exchange(handle_, -1);
  position_ = 0;
  size_ = 0;
  fileContext_->close(handle, 0);  // Last, because it may throw. The handle is invalid either way.
}

std::uint64_t K2RIOStream::read(void* buffer, std::uint64_t count) {
  if (count == 0 || buffer == nullptr || handle_ == -1) return 0;
  const std::int32_t done = fileContext_->read(handle_, position_, buffer, static_cast<std::uint32_t>(count));
  if (done < 1) return 0;
  position_ += static_cast<std::uint64_t>(done);
  return static_cast<std::uint64_t>(done);
}

void K2RIOStream::seek(std::int64_t offset, std::uint32_t mode) {
  const auto distance = static_cast<std::uint64_t>(offset);
  switch (mode) {
    case 0:
      position_ = distance;
      break;
    case 1:
      position_ += distance;
      break;
    case 2:
      position_ = size_ + distance;
      break;
    default:
      throw QVSException("Invalid Mode for krvo::k2m::IOStream::Seek()");
  }
}

std::uint64_t K2RIOStream::write(const void* buffer, std::uint64_t count) {
  if (count == 0 || buffer == nullptr || handle_ == -1) return 0;
  const std::int32_t done = fileContext_->write(handle_, position_, buffer, static_cast<std::uint32_t>(count));
  if (done < 1) return 0;
  position_ += static_cast<std::uint64_t>(done);
  if (size_ < position_) size_ = position_;
  return static_cast<std::uint64_t>(done);
}

}  // namespace qvs::k2r
