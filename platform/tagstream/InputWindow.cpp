#include "platform/tagstream/InputWindow.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "platform/tagstream/status.h"
#include "util/narrow.h"

namespace krvo::tagstream {
namespace {

constexpr std::uint32_t kFromStart = 0;
constexpr std::uint32_t kFromEnd = 2;
/// Bytes read at once by a caller who reads sequentially, and by one who jumps from tag header to tag header: for the
/// latter most of 256 KiB would be read in vain.
constexpr std::size_t kReadAheadBytes = std::size_t{256} << 10;
constexpr std::size_t kJumpBytes = std::size_t{4} << 10;

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
  // The block before the reference: after a constructor that throws no destructor runs, and a block is easier to undo.
  grow(kReadAheadBytes);
  const KrvoMTGStatus taken = stream_.addReference(stream_.context);
  if (taken != kKrvoMTGOk) allocator_.free(allocator_.context, block_);
  check(taken);
  // A refusal is no failure: it is how a pipe is recognised. It must be the first call, before anything has been read.
  canSeek_ = stream_.seek(stream_.context, 0, kFromEnd) == kKrvoMTGOk;
  isStreamAtEnd_ = !canSeek_;
}

InputWindow::~InputWindow() {
  allocator_.free(allocator_.context, block_);
  stream_.release(stream_.context);
}

std::span<const std::byte> InputWindow::view(std::uint64_t offset, std::size_t count) {
  // Streams seek by signed numbers; this also keeps `offset + count` below from wrapping around.
  require(offset <= std::numeric_limits<std::int64_t>::max() - count, kKrvoMTGStreamFailed);
  if (offset < start_ || offset > end()) moveTo(offset, count);
  if (offset + count > end()) {
    // Dropped before more is read, so that the block has to be no larger than the longest view.
    if (offset > start_ && offset <= end()) dropUntil(offset);
    while (offset + count > end() && fill(isSequential_ ? kReadAheadBytes : kJumpBytes)) {
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
  // A file that is being written may have grown since the last look.
  size_ = size();
  return fits();
}

std::uint64_t InputWindow::size() {
  require(canSeek_, kKrvoMTGPassed);
  isStreamAtEnd_ = false;  // before the calls: if one fails, the position is unknown
  check(stream_.seek(stream_.context, 0, kFromEnd));
  std::int64_t position = 0;
  check(stream_.tell(stream_.context, &position));
  require(position >= 0, kKrvoMTGStreamFailed);
  return static_cast<std::uint64_t>(position);
}

void InputWindow::moveTo(std::uint64_t offset, std::size_t count) {
  if (!canSeek_) {
    require(offset >= start_, kKrvoMTGPassed);
    // Skips by reading, never beyond `offset`: bytes after it belong to the next tag and could not be read again.
    while (offset > end()) {
      restartAt(end());
      if (!fill(static_cast<std::size_t>(std::min<std::uint64_t>(kReadAheadBytes, offset - end())))) return;
    }
    return;
  }
  // A caller who moves backwards asks next for the bytes before these, so the window ends with these.
  const bool backwards = offset < start_;
  const std::uint64_t wantedEnd = offset + count;
  restartAt(backwards ? wantedEnd - std::min<std::uint64_t>(wantedEnd, std::max(kReadAheadBytes, count)) : offset);
  isSequential_ = backwards;
  isStreamAtEnd_ = false;
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
  if (!isStreamAtEnd_) {
    check(stream_.seek(stream_.context, qvs::util::narrow<std::int64_t>(end()), kFromStart));
    isStreamAtEnd_ = true;
  } else {
    isSequential_ = true;
  }
  const auto wanted = static_cast<std::uint32_t>(std::min(step, capacity_ - filled_));
  std::uint32_t done = 0;
  const KrvoMTGStatus status = stream_.read(stream_.context, block_ + filled_, wanted, &done);
  // The position after a failed read is unknown. A stream that cannot seek has no other way than to read on.
  isStreamAtEnd_ = status == kKrvoMTGOk || !canSeek_;
  check(status);
  require(done <= wanted, kKrvoMTGStreamFailed);  // the caller's code: its number is not trusted
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
