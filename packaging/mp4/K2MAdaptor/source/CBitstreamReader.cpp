#include "packaging/mp4/K2MAdaptor/source/CBitstreamReader.h"

#include <algorithm>
#include <span>

#include "util/bytes.h"

namespace ruvo::k2rpkgutil {

std::int32_t CBitstreamReader::attach(const std::byte* data, std::int32_t size) {
  if (data == nullptr || size < 0) return -2;
  data_ = data;
  size_ = size;
  mark_ = 0;
  rewind();
  return 0;
}

void CBitstreamReader::rewind() {
  position_ = 0;
  error_ = false;
}

std::uint32_t CBitstreamReader::readBit() {
  if (error_ || position_ == end()) {
    error_ = true;
    return 1;
  }
  const std::uint32_t bit = peekBit();
  ++position_;
  return bit;
}

std::uint32_t CBitstreamReader::peekBit() const {
  if (position_ == end()) return 1;
  const auto current = std::to_integer<std::uint32_t>(data_[bytesRead()]);
  return current >> (kBitsPerByte - 1 - position_ % kBitsPerByte) & 1U;
}

std::uint32_t CBitstreamReader::readBits(std::int32_t count) {
  std::uint32_t value = 0;
  for (std::int32_t i = 0; i < count; ++i) value = value << 1 | readBit();
  return value;
}

std::uint32_t CBitstreamReader::peekBits(std::int32_t count) {
  const std::int64_t position = position_;
  const std::uint32_t value = readBits(count);
  position_ = position;
  return value;
}

std::uint32_t CBitstreamReader::peek32() {
  if (position_ % kBitsPerByte == 0 && bytesLeft() >= 4) {
    return qvs::util::ByteReader(std::span(data_ + bytesRead(), 4)).u32();
  }
  // A look beyond the end is no error: the caller may need fewer bits than it looks at.
  const bool error = error_;
  const std::uint32_t value = peekBits(32);
  error_ = error;
  return value;
}

void CBitstreamReader::skipBytes(std::int32_t count) {
  moveTo((bytesRead() + count) * kBitsPerByte);
}

std::int32_t CBitstreamReader::skipBits(std::int32_t count) {
  const std::int64_t before = position_;
  moveTo(position_ + count);
  return static_cast<std::int32_t>(position_ - before);
}

void CBitstreamReader::align() {
  position_ = (position_ + kBitsPerByte - 1) / kBitsPerByte * kBitsPerByte;
}

void CBitstreamReader::backToMark() {
  position_ = mark_;
  error_ = false;
}

void CBitstreamReader::moveTo(std::int64_t position) {
  if (position > end()) error_ = true;
  position_ = std::clamp<std::int64_t>(position, 0, end());
}

}  // namespace ruvo::k2rpkgutil
