#include "packaging/NQMessage.h"

#include <string>

#include "util/QVSException.h"

namespace ruvo::k2rpkgutil {

using namespace qvs::util;

NQMessage::NQMessage(std::uint32_t time, std::uint32_t totalSize, MemoryHolder memory, const std::byte* sample,
                     std::uint32_t sampleSize)
    : time_(time),
      totalSize_(totalSize),
      memory_(std::move(memory)),
      sampleOffset_(static_cast<std::uint32_t>(sample - memory_->getData())),
      sampleSize_(sampleSize) {}

NQMessage::NQMessage(IMemoryArena& arena, std::uint32_t time, std::uint8_t type, std::uint32_t timestamp,
                     const std::byte* data, std::uint32_t size)
    : time_(time), memory_(allocateTag(arena, type, size, timestamp)) {
  totalSize_ = size + static_cast<std::uint32_t>(kTagOverhead);
  std::byte* const copy = memory_->getData() + kTagHeaderSize;
  std::copy_n(data, size, copy);
  const std::uint32_t codecHeader = codecHeaderSize(type, copy, size);
  sampleOffset_ = static_cast<std::uint32_t>(kTagHeaderSize) + codecHeader;
  sampleSize_ = size - codecHeader;
}

void NQMessage::takeCodecHeaderByteIntoSample() {
  // With the whole data as sample (a tag too short for its codec) one more step would lead into the tag header.
  if (sampleOffset_ == kTagHeaderSize) return;
  --sampleOffset_;
  ++sampleSize_;
}

void NQMessage::swap(NQMessage& other) noexcept {
  std::swap(time_, other.time_);
  std::swap(totalSize_, other.totalSize_);
  std::swap(memory_, other.memory_);
  std::swap(sampleOffset_, other.sampleOffset_);
  std::swap(sampleSize_, other.sampleSize_);
}

MemoryHolder allocateTag(IMemoryArena& arena, std::uint8_t type, std::uint64_t dataSize, std::uint32_t timestamp) {
  if (dataSize > kMaxTagDataSize) {
    // Refused, never cut: a tag whose size field says less than it has would make every later tag unreadable.
    throw qvs::QVSException("A message of " + std::to_string(dataSize) + " bytes exceeds the 24-bit size of a tag.");
  }
  const auto size = static_cast<std::uint32_t>(dataSize);
  MemoryHolder memory;
  arena.allocate(memory, dataSize + kTagOverhead);
  writeTagHeader(memory->getData(), type, size, timestamp);
  writeTagBackPointer(memory->getData() + kTagHeaderSize + size, size);
  return memory;
}

}  // namespace ruvo::k2rpkgutil
