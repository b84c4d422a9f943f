#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "platform/tagstream/krvo_mtg.h"

namespace krvo::tagstream {

/// The caller's stream, seen through a window of bytes read ahead, in a block of the caller's allocator. Takes a
/// reference on the stream when it is made and gives it back when it goes. Every operation throws StatusError, and
/// std::bad_alloc where the allocator has no block.
///
/// A stream that cannot seek is only read on: what the window has left behind is gone.
class InputWindow {
 public:
  InputWindow(const KrvoMTGInputStreamCallBacks& stream, const KrvoMTGAllocatorCallBacks& allocator);
  ~InputWindow();
  InputWindow(const InputWindow&) = delete;
  InputWindow& operator=(const InputWindow&) = delete;

  /// The `count` bytes from `offset` on, or those that there are; valid until the next call. The window grows only as
  /// bytes come.
  std::span<const std::byte> view(std::uint64_t offset, std::size_t count);
  /// Whether there are so many bytes from `offset` on. Where the stream cannot seek they are then in the window.
  bool holds(std::uint64_t offset, std::size_t count);
  /// Whether size() can be asked, and what lies in front of the window.
  bool canSeek() const { return canSeek_; }
  /// Of the file as it is now.
  std::uint64_t size();

 private:
  std::uint64_t end() const { return start_ + filled_; }
  /// Brings `offset` into the window, or to its end.
  void moveTo(std::uint64_t offset, std::size_t count);
  /// Empties the window, which then begins at `offset`.
  void restartAt(std::uint64_t offset);
  /// Drops what is in front of `offset`, which is in the window or at its end.
  void dropUntil(std::uint64_t offset);
  /// Reads once, up to `step` bytes. False at the end of the stream.
  bool fill(std::size_t step);
  void grow(std::size_t capacity);

  KrvoMTGInputStreamCallBacks stream_;
  KrvoMTGAllocatorCallBacks allocator_;
  std::byte* block_ = nullptr;
  std::size_t capacity_ = 0;
  /// Offset in the file of the first byte of the window, and how many there are.
  std::uint64_t start_ = 0;
  std::size_t filled_ = 0;
  bool canSeek_ = false;
  std::uint64_t size_ = 0;
  /// The stream stands at the end of the window.
  bool atEnd_ = true;
  /// The last read went on where the one before it had ended.
  bool readingOn_ = true;
};

}  // namespace krvo::tagstream
