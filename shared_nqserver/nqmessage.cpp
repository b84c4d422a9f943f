#include "shared_nqserver/nqmessage.h"

#include <algorithm>
#include <atomic>

#include "util/bytes.h"
#include "util/diagnostics.h"
#include "util/narrow.h"

namespace {

struct StripeMutex : NQThreadOnlyMutex {
  StripeMutex() : NQThreadOnlyMutex(true) {}
};

// Handed out in turn, so that threads with different messages rarely meet at one lock.
std::array<StripeMutex, 250> stripeMutexes;
std::atomic<std::uint32_t> nextStripe = 0;

StripeMutex& takeStripe() {
  return stripeMutexes[nextStripe.fetch_add(1, std::memory_order_relaxed) % stripeMutexes.size()];
}

/// Bytes of the block for a payload: 1 to 4 more than the payload. In 64 bits, since the sum may exceed 32.
std::uint64_t blockSize(std::uint32_t length) {
  return std::uint64_t{length & ~3U} + 4;
}

}  // namespace

namespace qvs {

std::span<const std::byte> Message::payload() const {
  // The least of three lengths: header and block come from different places, and neither is trusted alone.
  if (!data_) return {};
  const auto used = static_cast<const NQMemory&>(*data_).used();
  return used.first(std::min<std::size_t>(used.size(), length()));
}

void Message::setType(MessageKind kind) {
  const int kept = rawType() & ~util::kTagTypeMask;
  header_[0] = static_cast<std::byte>(kept | (static_cast<int>(kind) & util::kTagTypeMask));
}

void Message::setLength(std::uint32_t length, bool alsoBlock) {
  util::diagnose(length <= util::kMaxTagDataSize);
  util::setTagDataSize(header_.data(), length);
  if (alsoBlock && data_) data_->setUsedLength(length);
}

void Message::setHeader(Header header) {
  std::ranges::copy(header, header_.begin());
}

void Message::takeProtectedFlag() {
  protectedFlag_ = (rawType() & util::kTagProtectedBit) != 0;
  header_[0] &= ~std::byte{util::kTagProtectedBit};
}

void Message::clearHeader() {
  header_ = {};
  protectedFlag_ = false;
}

SingleMessage::SingleMessage() : stripeMutex_(takeStripe()) {}

void SingleMessage::countKinds(KindCounts& counts) const {
  // Without bit 6, which kTagTypeMask keeps: the table has an entry for each of the low five bits up to kKindLimit.
  constexpr std::uint8_t kKindMask = 0x1F;
  const std::size_t index = rawType() & kKindMask;
  if (index < counts.size()) ++counts[index];
}

std::uint8_t SingleMessage::codec() const {
  switch (kind()) {
    case MessageKind::kAudio:
      return firstByte() & 0xF0;
    case MessageKind::kVideo:
      return firstByte() & 0x0F;
    default:
      return 0;
  }
}

std::uint16_t SingleMessage::controlSubtype() const {
  const auto bytes = payload();
  return bytes.size() < 2 ? std::uint16_t{0} : util::ByteReader(bytes).u16();
}

bool SingleMessage::isVideoFrame(std::uint8_t frameType) const {
  return kind() == MessageKind::kVideo && firstByte() >> 4 == frameType;
}

std::uint8_t SingleMessage::firstByte() const {
  // Not by payload(): a host may fill the block without setting its used length.
  const bool isThere = length() > 0 && data() && data()->capacity() > 0;
  return isThere ? std::to_integer<std::uint8_t>(*data()->data()) : std::uint8_t{0};
}

}  // namespace qvs

NQMessage::NQMessage(std::uint32_t size, NQPool* pool) {
  qvs::util::diagnose(pool == nullptr);
  reset(size);
}

void NQMessage::reset(std::uint32_t size) {
  setData(NQMemoryPtr::make(qvs::util::narrow<std::uint32_t>(blockSize(size))));
  clearHeader();
  serverState().word = 0;
  serverState().flag = 0;
}

bool NQMessage::ensureLength(std::uint32_t length) {
  if (length > qvs::util::kMaxTagDataSize) return false;
  // The header changes last: if the block cannot grow, the message is as before.
  if (data()->capacity() < length && !data()->resize(static_cast<std::uint32_t>(blockSize(length)))) return false;
  setLength(length, true);
  return true;
}

bool NQMessage::append(std::span<const std::byte> bytes) {
  const std::uint32_t oldLength = length();
  // A difference instead of a sum, which could wrap.
  if (bytes.size() > qvs::util::kMaxTagDataSize - oldLength) return false;
  if (!ensureLength(oldLength + static_cast<std::uint32_t>(bytes.size()))) return false;
  std::ranges::copy(bytes, data()->data() + oldLength);
  return true;
}
