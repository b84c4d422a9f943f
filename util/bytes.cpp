#include "util/bytes.h"

#include <bit>
#include <string>

namespace qvs::util {

void ByteWriter::f64(double value) {
  u64(std::bit_cast<std::uint64_t>(value));
}

void ByteWriter::patchU32(std::size_t offset, std::uint32_t value) {
  // at() on the last of the four bytes checks all of them, in release builds, too.
  storeBigEndian(&data_.at(offset + 3) - 3, 4, value);
}

double ByteReader::f64() {
  return std::bit_cast<double>(u64());
}

std::span<const std::byte> ByteReader::bytes(std::uint64_t count) {
  need(count);
  const auto view = data_.subspan(position_, static_cast<std::size_t>(count));
  position_ += view.size();
  return view;
}

void ByteReader::failShort(std::uint64_t count) const {
  throw MalformedInput("input ends early: " + std::to_string(count) + " bytes wanted at offset " +
                       std::to_string(position_) + ", " + std::to_string(remaining()) + " left");
}

}  // namespace qvs::util
