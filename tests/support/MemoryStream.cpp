#include "tests/support/MemoryStream.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>

#include "wrappers/k2m/Exception.h"

namespace test {

void MemoryStream::release() {
  if (--references == 0) close();
}

void MemoryStream::open() {
  ++opens;
  isOpen = true;
  position_ = 0;
}

std::uint64_t MemoryStream::read(void* buffer, std::uint64_t count) {
  reads.push_back(count);
  if (!isOpen || position_ >= bytes.size()) return 0;
  const std::uint64_t done = std::min({count, bytesOfRead, bytes.size() - position_});
  std::memcpy(buffer, bytes.data() + position_, static_cast<std::size_t>(done));
  position_ += done;
  return done;
}

void MemoryStream::read(std::uint64_t offset, std::span<std::byte> out) {
  if (out.size() > bytes.size() || offset > bytes.size() - out.size()) throw std::out_of_range("behind the end");
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), out.size(), out.begin());
}

void MemoryStream::seek(std::int64_t offset, std::uint32_t mode) {
  const auto distance = static_cast<std::uint64_t>(offset);
  switch (mode) {
    case 0:
      position_ = distance;
      break;
    case 1:
      position_ += distance;
      break;
    case 2:
      position_ = bytes.size() + distance;
      break;
    default:
      throw std::invalid_argument("seek mode");
  }
}

std::uint64_t MemoryStream::write(const void* buffer, std::uint64_t count) {
  const std::uint64_t index = writes.size();
  writes.push_back(count);
  if (!isOpen) return 0;
  std::uint64_t limit = bytesOfWrite;
  if (fails(index)) limit = index == failingWrite ? bytesOfFailingWrite : 0;
  const std::uint64_t done = std::min(count, limit);
  if (done == 0) return 0;
  bytes.resize(std::max<std::size_t>(bytes.size(), static_cast<std::size_t>(position_ + done)));
  std::memcpy(bytes.data() + position_, buffer, static_cast<std::size_t>(done));
  position_ += done;
  return done;
}

}  // namespace test
