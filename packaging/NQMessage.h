#pragma once

#include "packaging/MemoryArena.h"
#include "packaging/Message.h"

namespace ruvo::k2rpkgutil {

/// A whole tag in arena memory: header, data and back pointer. What waits in the recording's queue and is written.
///
/// A small value; a copy shares the memory by one more reference, a move takes it over. `time` counts from the start of
/// the recording, the timestamp in the header is the stream's own. `sampleOffset` counts from the first header byte.
/// Belongs to one thread, as its memory does.
class NQMessage final : public Message {
 public:
  /// The empty message: total size 0 and no memory. Only the operations that say so may be asked of it.
  NQMessage() = default;
  /// A tag that stands in `memory`, whose sample lies in it.
  NQMessage(std::uint32_t time, std::uint32_t totalSize, MemoryHolder memory, const std::byte* sample,
            std::uint32_t sampleSize);
  /// A copy of `size` bytes of data as a tag. Throws QVSException for more than a tag holds, std::bad_alloc.
  NQMessage(IMemoryArena& arena, std::uint32_t time, std::uint8_t type, std::uint32_t timestamp, const std::byte* data,
            std::uint32_t size);
  NQMessage(const NQMessage&) = default;
  NQMessage(NQMessage&& other) noexcept { swap(other); }
  NQMessage& operator=(NQMessage other) noexcept {
    swap(other);
    return *this;
  }
  ~NQMessage() override = default;

  std::uint32_t time() const override { return time_; }
  const std::byte* header() const override { return memory_->getData(); }
  const std::byte* data() const override { return header() + qvs::util::kTagHeaderSize; }
  std::uint32_t dataSize() const override { return totalSize_ - static_cast<std::uint32_t>(qvs::util::kTagOverhead); }
  const std::byte* sample() const override { return sample_; }
  std::uint32_t sampleOffset() const override { return static_cast<std::uint32_t>(sample_ - header()); }
  std::uint32_t sampleSize() const override { return sampleSize_; }

  /// Bytes of the tag, header and back pointer included. May be asked of an empty message, as may the next two.
  std::uint32_t totalSize() const { return totalSize_; }
  bool empty() const { return totalSize_ == 0; }
  const MemoryHolder& memory() const { return memory_; }

  /// Counts the last codec header byte as part of the sample; a sample that is the whole data stays as it is.
  void takeCodecHeaderByteIntoSample();

 private:
  void swap(NQMessage& other) noexcept;

  std::uint32_t time_ = 0;
  std::uint32_t totalSize_ = 0;
  MemoryHolder memory_;
  const std::byte* sample_ = nullptr;
  std::uint32_t sampleSize_ = 0;
};

/// Memory for a tag of `dataSize` data bytes, its header and back pointer written and the data left to the caller.
/// `type` is stored as it is. Throws QVSException for more than a tag holds, std::bad_alloc.
MemoryHolder allocateTag(IMemoryArena& arena, std::uint8_t type, std::uint64_t dataSize, std::uint32_t timestamp);

}  // namespace ruvo::k2rpkgutil
