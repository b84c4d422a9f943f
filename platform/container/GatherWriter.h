#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/container/StagingBuffer.h"
#include "platform/container/Stream.h"

namespace krvo::container {

/// Writes many pieces of memory, one behind another, in few writes. Pieces whose memory touches are one span. The
/// largest spans go to the stream from where they are, as long as that keeps to kWriteBudget writes; the others are
/// gathered in chunks of up to StagingBuffer::kCapacity bytes.
class GatherWriter {
 public:
  static constexpr std::size_t kWriteBudget = 4;
  /// A shorter span costs less to copy than to write.
  static constexpr std::size_t kMinDirectBytes = std::size_t{64} << 10;

  /// `allocator` outlives the writer.
  explicit GatherWriter(const KrvoK2MAllocatorCallBacks& allocator) : staging_(allocator) {}

  /// A view; the bytes stay in place until they are written or cleared.
  void add(std::span<const std::byte> piece);
  /// Writes what was added, from `position` on. Throws StatusError for a failed write, and std::bad_alloc.
  void write(Stream& stream, std::uint64_t position);
  void clear() noexcept;

 private:
  struct Span {
    std::span<const std::byte> bytes;
    bool direct = false;
  };

  void chooseDirectSpans();
  /// Writes a direct span, or spans that are gathered; answers the position behind them.
  std::uint64_t writeStretch(Stream& stream, std::uint64_t position, std::span<const Span> stretch);
  std::size_t writeCount() const;

  std::vector<Span> spans_;
  /// Places in `spans_`.
  std::vector<std::size_t> candidates_;
  StagingBuffer staging_;
};

}  // namespace krvo::container
