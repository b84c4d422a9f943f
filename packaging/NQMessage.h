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

/// A whole tag in one block of arena memory, in the form in which it waits in the recording's queue and is stored:
///
///     0        header, layout in util/tagHeader.h
///     11       data, the codec header bytes first
///     .        u32  back pointer: data size + 11
///
/// A small value: a copy adds a reference to the block, a move takes the reference over and leaves the empty message.
/// `time` counts milliseconds from the start of the recording, the timestamp in the header counts on the stream's own
/// clock. `sampleOffset` counts from the first header byte. Belongs to the thread of its arena.
class NQMessage final : public Message {
 public:
  /// The empty message: total size 0 and no memory. Only time(), totalSize(), empty() and memory() may be called on it.
  NQMessage() = default;
  /// A message over a tag that is already in `memory`. `sample` points into it; `totalSize` counts header, data and
  /// back pointer. The message keeps the reference of `memory`.
  NQMessage(std::uint32_t time, std::uint32_t totalSize, MemoryHolder memory, const std::byte* sample,
            std::uint32_t sampleSize);
  /// Copies `size` bytes of data into a new tag; `type` is stored with all its bits. The only copy that the record path
  /// makes of a message. Throws QVSException above 2^24 - 1 bytes, and std::bad_alloc.
  NQMessage(IMemoryArena& arena, std::uint32_t time, std::uint8_t type, std::uint32_t timestamp, const std::byte* data,
            std::uint32_t size);
  /// Rebuilds the tag of a stored sample, for a reader of segments. The type of `descriptor` selects video, audio or
  /// data; `descriptor` and `track` are passed in so that a reader fetches these records once a track. Time and
  /// timestamp are the sample's decode time in milliseconds, of which 32 bits are kept.
  ///
  /// What the file does not keep is filled in: a video frame is a key frame if it is a sync sample, a frame of AVC or
  /// AAC is not a sequence header, and the audio bits come from the description. Throws krvo::k2m::Exception,
  /// std::bad_alloc, and QVSException for a timescale of 0, for a format code without a tag form, which includes the
  /// protected ones, and for more than a tag can contain.
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
  const std::byte* sample() const override { return header() + sampleOffset_; }
  std::uint32_t sampleOffset() const override { return sampleOffset_; }
  std::uint32_t sampleSize() const override { return sampleSize_; }

  /// Bytes of the tag, header and back pointer included; 0 for the empty message.
  std::uint32_t totalSize() const { return totalSize_; }
  bool empty() const { return totalSize_ == 0; }
  const MemoryHolder& memory() const { return memory_; }

  /// Moves the start of the sample one byte towards the start of the data, unless it is there already. The encrypting
  /// policy does this for VP6, whose second codec header byte is encrypted with the picture.
  void takeCodecHeaderByteIntoSample();

 private:
  void swap(NQMessage& other) noexcept;

  std::uint32_t time_ = 0;
  std::uint32_t totalSize_ = 0;
  MemoryHolder memory_;
  // No pointer: a message in the queue has 32 bytes, and a server has a hundred thousand of them.
  std::uint32_t sampleOffset_ = 0;
  std::uint32_t sampleSize_ = 0;
};

/// Allocates a tag of `dataSize` data bytes and writes its header and back pointer. The data bytes are unspecified
/// until the caller fills them. `type` is stored with all its bits; `timestamp` is in milliseconds. Throws QVSException
/// above 2^24 - 1 bytes, and std::bad_alloc.
MemoryHolder allocateTag(IMemoryArena& arena, std::uint8_t type, std::uint64_t dataSize, std::uint32_t timestamp);

/// Makes a tag whose data are the bytes of `codecHeader` followed by a sample of `sampleSize` bytes. Calls `fill` once
/// with the sample's bytes, a std::span<std::byte>; it must write all of them. Throws as allocateTag() does, and passes
/// on what `fill` throws, with nothing left allocated.
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
