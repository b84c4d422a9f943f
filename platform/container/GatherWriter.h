#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/container/StagingBuffer.h"
#include "platform/container/Stream.h"

namespace krvo::container {

/// Writes many pieces of memory, one after another in the file, in few writes. Pieces that touch in memory form one
/// span. Spans from StagingBuffer::kCapacity on, and the largest of the others as far as kWriteBudget allows, are
/// written from where they are; smaller ones are copied together into chunks of up to that capacity. Belongs to one
/// thread.
///
///     gather.add(boxes); for (tag : tags) gather.add(tag.bytes());
///     gather.write(stream, position);   // or clear(), if the fragment is dropped
class GatherWriter {
 public:
  /// Writes of a fragment above which a span is rather copied.
  static constexpr std::size_t kWriteBudget = 4;
  /// Bytes of a span from which on it may be worth a write; a shorter one is cheaper to copy.
  static constexpr std::size_t kMinDirectBytes = std::size_t{64} << 10;

  /// `allocator` outlives the writer.
  explicit GatherWriter(const KrvoK2MAllocatorCallBacks& allocator) : staging_(allocator) {}

  /// Appends a piece. A view: its bytes stay in place until write() or clear() returns.
  void add(std::span<const std::byte> piece);
  /// Writes all pieces from `position` in the file on, then forgets them. Throws StatusError for a failed write, and
  /// std::bad_alloc; the pieces are then still there, for clear().
  void write(Stream& stream, std::uint64_t position);
  /// Forgets all pieces, and gives all memory back.
  void clear() noexcept;

 private:
  /// A stretch of memory, written alone if `direct`.
  struct Span {
    std::span<const std::byte> bytes;
    bool direct = false;
  };

  /// Sets `direct` of each span. Copying costs time in proportion to the bytes, a write a fixed time: the largest spans
  /// gain most by a write of their own.
  void chooseDirectSpans();
  /// Writes one direct span, or several gathered ones. Returns the position after them.
  std::uint64_t writeStretch(Stream& stream, std::uint64_t position, std::span<const Span> stretch);
  /// Writes that the present choice of direct spans takes.
  std::size_t writeCount() const;

  /// In the order of the file.
  std::vector<Span> spans_;
  /// Indices in `spans_` of the spans that may be written directly.
  std::vector<std::size_t> candidates_;
  StagingBuffer staging_;
};

}  // namespace krvo::container
