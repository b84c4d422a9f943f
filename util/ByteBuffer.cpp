#include "util/ByteBuffer.h"

#include <algorithm>

namespace qvs::util {

ByteBuffer::ByteBuffer(std::uint64_t size)
    : data_(size == 0 ? nullptr : std::make_unique<std::byte[]>(static_cast<std::size_t>(size))), size_(size) {}

ByteBuffer::ByteBuffer(std::span<const std::byte> bytes) : ByteBuffer(std::uint64_t{bytes.size()}) {
  std::copy(bytes.begin(), bytes.end(), data_.get());
}

ByteBuffer& ByteBuffer::operator=(ByteBuffer other) noexcept {
  std::swap(data_, other.data_);
  std::swap(size_, other.size_);
  return *this;
}

void ByteBuffer::append(std::span<const std::byte> bytes) {
  // Both are copied before the old bytes go, since `bytes` may be a view of them.
  ByteBuffer grown(size_ + bytes.size());
  std::copy_n(data_.get(), size_, grown.data_.get());
  std::copy(bytes.begin(), bytes.end(), grown.data_.get() + size_);
  *this = std::move(grown);
}

std::pair<ByteBuffer, ByteBuffer> ByteBuffer::split(std::uint64_t offset) const {
  const auto cut = static_cast<std::size_t>(std::min(offset, size_));
  return {ByteBuffer(bytes().first(cut)), ByteBuffer(bytes().subspan(cut))};
}

bool ByteBuffer::operator==(const ByteBuffer& other) const {
  return std::equal(bytes().begin(), bytes().end(), other.bytes().begin(), other.bytes().end());
}

}  // namespace qvs::util
