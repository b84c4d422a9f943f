#include "platform/tagstream/InputWindow.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "platform/tagstream/StatusError.h"
#include "util/narrow.h"

namespace krvo::tagstream {
namespace {

constexpr std::uint32_t kFromStart = 0;
constexpr std::uint32_t kFromEnd = 2;
/// What is read at once by one who reads on, and by one who goes from tag to tag without looking at the data.
constexpr std::size_t kReadAhead = std::size_t{64} << 10;
constexpr std::size_t kLook = std::size_t{4} << 10;

bool isComplete(const KrvoMTGInputStreamCallBacks& stream) {
  return stream.size == sizeof(stream) && stream.addReference != nullptr && stream.release != nullptr &&
         stream.read != nullptr && stream.seek != nullptr && stream.tell != nullptr;
}

bool isComplete(const KrvoMTGAllocatorCallBacks& allocator) {
  return allocator.size == sizeof(allocator) && allocator.alloc != nullptr && allocator.free != nullptr;
}

}  // namespace

InputWindow::InputWindow(const KrvoMTGInputStreamCallBacks& stream, const KrvoMTGAllocatorCallBacks& allocator)
    : stream_(stream), allocator_(allocator) {
  require(isComplete(stream_) && isComplete(allocator_));
  grow(kReadAhead);
  const KrvoMTGStatus taken = stream_.addReference(stream_.context);
  if (taken != kKrvoMTGOk) allocator_.free(allocator_.context, block_);
  check(taken);
  canSeek_ = stream_.seek(stream_.context, 0, kFromEnd) == kKrvoMTGOk;
  atEnd_ = !canSeek_;
}

InputWindow::~InputWindow() {
  allocator_.free(allocator_.context, block_);
  stream_.release(stream_.context);
}

std::span<const std::byte> InputWindow::view(std::uint64_t offset, std::size_t count) {
  require(offset <= std::numeric_limits<std::int64_t>::max() - count, kKrvoMTGStreamFailed);
  if (offset < start_ || offset > end()) moveTo(offset, count);
  if (offset + count > end()) {
    if (offset > start_ && offset <= end()) dropUntil(offset);
    while (offset + count > end() && fill(readingOn_ ? kReadAhead : kLook)) {
    }
  }
  if (offset >= end()) return {};
  const auto first = static_cast<std::size_t>(offset - start_);
  return {block_ + first, std::min(count, filled_ - first)};
}

bool InputWindow::holds(std::uint64_t offset, std::size_t count) {
  if (!canSeek_) return view(offset, count).size() == count;
  const auto fits = [&] { return count <= size_ && offset <= size_ - count; };
  if (fits()) return true;
  size_ = size();
  return fits();
}

std::uint64_t InputWindow::size() {
  require(canSeek_, kKrvoMTGPassed);
  atEnd_ = false;
  check(stream_.seek(stream_.context, 0, kFromEnd));
  std::int64_t position = 0;
  check(stream_.tell(stream_.context, &position));
  require(position >= 0, kKrvoMTGStreamFailed);
  return static_cast<std::uint64_t>(position);
}

void InputWindow::moveTo(std::uint64_t offset, std::size_t count) {
  if (!canSeek_) {
    require(offset >= start_, kKrvoMTGPassed);
    while (offset > end()) {
      restartAt(end());
      if (!fill(static_cast<std::size_t>(std::min<std::uint64_t>(kReadAhead, offset - end())))) return;
    }
    return;
  }
  // Backwards, the bytes in front of those asked for are the next to be asked for.
  const bool backwards = offset < start_;
  const std::uint64_t behind = offset + count;
  restartAt(backwards ? behind - std::min<std::uint64_t>(behind, std::max(kReadAhead, count)) : offset);
  readingOn_ = backwards;
  atEnd_ = false;
}

void InputWindow::restartAt(std::uint64_t offset) {
  start_ = offset;
  filled_ = 0;
}

void InputWindow::dropUntil(std::uint64_t offset) {
  const auto dropped = static_cast<std::size_t>(offset - start_);
  std::memmove(block_, block_ + dropped, filled_ - dropped);
  start_ = offset;
  filled_ -= dropped;
}

bool InputWindow::fill(std::size_t step) {
  if (capacity_ == filled_) grow(2 * capacity_);
  if (!atEnd_) {
    check(stream_.seek(stream_.context, qvs::util::narrow<std::int64_t>(end()), kFromStart));
    atEnd_ = true;
  } else {
    readingOn_ = true;
  }
  const auto wanted = static_cast<std::uint32_t>(std::min(step, capacity_ - filled_));
  std::uint32_t done = 0;
  const KrvoMTGStatus status = stream_.read(stream_.context, block_ + filled_, wanted, &done);
  // Where a read that failed has left the stream is not known.
  atEnd_ = status == kKrvoMTGOk || !canSeek_;
  check(status);
  require(done <= wanted, kKrvoMTGStreamFailed);
  filled_ += done;
  return done != 0;
}

void InputWindow::grow(std::size_t capacity) {
  auto* const block = static_cast<std::byte*>(allocator_.alloc(allocator_.context, capacity));
  if (block == nullptr) throw std::bad_alloc();
  if (filled_ != 0) std::memcpy(block, block_, filled_);
  if (block_ != nullptr) allocator_.free(allocator_.context, block_);
  block_ = block;
  capacity_ = capacity;
}

}  // namespace krvo::tagstream
