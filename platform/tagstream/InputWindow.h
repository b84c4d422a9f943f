#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/tagstream/krvo_mtg.h"

namespace krvo::tagstream {

/// The caller's stream, seen through a window of bytes that have been read ahead into one block of the caller's
/// allocator. Takes a reference to the stream in its constructor and releases it in its destructor. Every operation
/// throws StatusError with the stream's failure, and std::bad_alloc if the allocator has no block. Belongs to one
/// thread at a time.
///
/// A stream that cannot seek (a pipe) is read front to back only: bytes before the window cannot be reached again,
/// which gives kKrvoMTGPassed.
class InputWindow {
 public:
  /// Copies both records; what their contexts point to must outlive the window. Tries to seek to the end of the stream,
  /// which decides whether it can seek. If this throws, the stream's reference count is unchanged.
  InputWindow(const KrvoMTGInputStreamCallBacks& stream, const KrvoMTGAllocatorCallBacks& allocator);
  ~InputWindow();
  InputWindow(const InputWindow&) = delete;
  InputWindow& operator=(const InputWindow&) = delete;

  /// Returns the `count` bytes from `offset` on, or fewer at the end of the stream. The view is valid until the next
  /// call of any operation. The window grows as bytes arrive, never by `count`, which a damaged file may have made up.
  std::span<const std::byte> view(std::uint64_t offset, std::size_t count);
  /// Whether the stream has `count` bytes from `offset` on. A stream that can seek is asked for its size and nothing is
  /// read; of any other the bytes are in the window afterwards.
  bool holds(std::uint64_t offset, std::size_t count);
  /// Whether size() and offsets before the window may be asked for.
  bool canSeek() const { return canSeek_; }
  /// Bytes of the file at this moment; a file that is still written grows. Only if canSeek().
  std::uint64_t size();

 private:
  std::uint64_t end() const { return start_ + filled_; }
  /// Moves the window so that `offset` is in it or at its end.
  void moveTo(std::uint64_t offset, std::size_t count);
  /// Empties the window; it then begins at `offset`.
  void restartAt(std::uint64_t offset);
  /// Drops the bytes before `offset`, which is in the window or at its end.
  void dropUntil(std::uint64_t offset);
  /// Reads once, up to `step` bytes, and appends them. Returns false at the end of the stream.
  bool fill(std::size_t step);
  /// Moves the window into a larger block; if there is none it stays as it is and std::bad_alloc is thrown.
  void grow(std::size_t capacity);

  KrvoMTGInputStreamCallBacks stream_;
  KrvoMTGAllocatorCallBacks allocator_;
  std::byte* block_ = nullptr;
  std::size_t capacity_ = 0;
  /// Offset in the file of the window's first byte, and the bytes in the window.
  std::uint64_t start_ = 0;
  std::size_t filled_ = 0;
  bool canSeek_ = false;
  /// The file's size when it was last asked for. Asked for again only when it seems too small: a file may grow.
  std::uint64_t size_ = 0;
  /// Whether the position of the stream is known to be the end of the window, so that no seek is needed.
  bool isStreamAtEnd_ = true;
  /// Whether the last read continued the one before it. Then the next one reads more at once.
  bool isSequential_ = true;
};

}  // namespace krvo::tagstream
