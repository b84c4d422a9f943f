#include "util/messagebuffer.h"

#include <algorithm>

#include "util/diagnostics.h"
#include "util/tagHeader.h"

namespace qvs::util {

namespace {

constexpr std::uint32_t kFirstCapacity = 32768;

std::uint8_t contentOf(std::uint8_t type, bool isEmpty) {
  switch (type & kTagTypeMask) {
    case kVideoTag:
      return MessageBuffer::kHasVideo;
    case kAudioTag:
      return isEmpty ? std::uint8_t{0} : MessageBuffer::kHasAudio;
    default:
      return MessageBuffer::kHasOther;
  }
}

}  // namespace

void MessageBuffer::allocate() {
  buffer_.attach(NQMemoryPtr::make(kFirstCapacity));
  counts_ = {};
}

void MessageBuffer::clear() {
  buffer_.clear();
  counts_ = {};
}

bool MessageBuffer::append(std::uint8_t type, std::span<const std::byte> payload, std::uint32_t timestamp) {
  const bool fits =
      payload.size() <= kMaxTagDataSize && makeRoom(static_cast<std::uint32_t>(payload.size() + kTagOverhead));
  diagnose(fits);
  if (!fits) return false;
  const auto length = static_cast<std::uint32_t>(payload.size());
  const auto size = length + static_cast<std::uint32_t>(kTagOverhead);
  count(type, size, timestamp);
  // Only after makeRoom(), which moves the bytes.
  std::byte* const member = buffer_.data() + buffer_.end();
  writeTagHeader(member, type, length, timestamp);
  std::ranges::copy(payload, member + kTagHeaderSize);
  writeTagBackPointer(member + kTagHeaderSize + length, length);
  buffer_.setEnd(buffer_.end() + size);
  return true;
}

bool MessageBuffer::makeRoom(std::uint32_t size) {
  while (size > buffer_.room()) {
    // In 32 bits: without a block, and from 2 GiB on, the product is not larger.
    const std::uint32_t doubled = 2 * buffer_.capacity();
    if (doubled <= buffer_.capacity() || !buffer_.resize(doubled)) return false;
  }
  return true;
}

void MessageBuffer::count(std::uint8_t type, std::uint32_t size, std::uint32_t timestamp) {
  counts_.contents |= contentOf(type, size == kTagOverhead);
  counts_.lastTime = std::max(counts_.lastTime, timestamp);
  if (counts_.appended == 0) {
    counts_.firstSize = size;
    counts_.firstTime = timestamp;
  }
  ++counts_.appended;
}

}  // namespace qvs::util
