#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>

#include "packaging/MemoryArena.h"
#include "packaging/Message.h"

struct K2MAudioDescriptorInfo;
struct K2MDescriptorInfo;
struct K2MTrackInfo;
struct K2MVideoDescriptorInfo;

namespace krvo::k2m {
class Sample;
}

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
  /// The tag of a stored sample, rebuilt from the sample, the record of its description, which tells video, audio and
  /// data apart, and that of its track. Time and timestamp are the sample's decode time in milliseconds. What the file
  /// does not keep is filled in: a video frame is a key frame if it is a sync sample, a frame of AVC or AAC is no
  /// sequence header, and audio says what the description does. Throws krvo::k2m::Exception, std::bad_alloc, and
  /// QVSException for a format code without a tag form, a protected one among them, and for more than a tag holds.
  NQMessage(IMemoryArena& arena, const krvo::k2m::Sample& sample, const K2MVideoDescriptorInfo& descriptor,
            const K2MTrackInfo& track);
  NQMessage(IMemoryArena& arena, const krvo::k2m::Sample& sample, const K2MAudioDescriptorInfo& descriptor,
            const K2MTrackInfo& track);
  NQMessage(IMemoryArena& arena, const krvo::k2m::Sample& sample, const K2MDescriptorInfo& descriptor,
            const K2MTrackInfo& track);
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

/// A tag with the bytes of `codecHeader` and, behind them, a sample of `sampleSize` bytes. Has `fill` write these; it
/// gets them as a std::span<std::byte>. Throws as allocateTag().
template <typename Fill>
NQMessage makeTag(IMemoryArena& arena, std::uint8_t type, std::uint32_t time, std::uint32_t timestamp,
                  std::span<const std::uint8_t> codecHeader, std::uint64_t sampleSize, const Fill& fill) {
  const std::uint64_t dataSize = codecHeader.size() + sampleSize;
  MemoryHolder memory = allocateTag(arena, type, dataSize, timestamp);
  const auto bytes = std::as_bytes(codecHeader);
  std::byte* const sample = std::copy(bytes.begin(), bytes.end(), memory->getData() + qvs::util::kTagHeaderSize);
  const auto size = static_cast<std::uint32_t>(sampleSize);
  fill(std::span<std::byte>(sample, size));
  return NQMessage(time, static_cast<std::uint32_t>(dataSize + qvs::util::kTagOverhead), std::move(memory), sample,
                   size);
}

}  // namespace ruvo::k2rpkgutil
