#include "platform/encryption/der.h"

#include "util/narrow.h"

namespace krvo::encryption {
namespace {

constexpr std::size_t kShortLength = 0x80;
constexpr std::size_t kLargestWidth = 4;

std::size_t widthOf(std::uint64_t length) {
  std::size_t width = 1;
  while (length >> (8 * width) != 0) ++width;
  return width;
}

std::uint64_t readLength(qvs::util::ByteReader& in) {
  const std::size_t first = in.u8();
  if (first < kShortLength) return first;
  const std::size_t width = first - kShortLength;
  if (width == 0 || width > kLargestWidth) throw qvs::util::MalformedInput("DER: a length of no definite form");
  const auto length = qvs::util::loadBigEndian(in.bytes(width).data(), width);
  if (length < kShortLength || widthOf(length) != width) {
    throw qvs::util::MalformedInput("DER: a length that is not in its shortest form");
  }
  return length;
}

}  // namespace

void writeDer(qvs::util::ByteWriter& out, DerTag tag, std::span<const std::byte> content) {
  out.u8(static_cast<std::uint8_t>(tag));
  if (content.size() < kShortLength) {
    out.u8(static_cast<std::uint8_t>(content.size()));
  } else {
    const std::size_t width = widthOf(qvs::util::narrow<std::uint32_t>(content.size()));
    std::byte image[kLargestWidth];
    qvs::util::storeBigEndian(image, width, content.size());
    out.u8(static_cast<std::uint8_t>(kShortLength + width));
    out.bytes(std::span(image, width));
  }
  out.bytes(content);
}

std::span<const std::byte> readDer(qvs::util::ByteReader& in, DerTag tag) {
  if (in.u8() != static_cast<std::uint8_t>(tag)) throw qvs::util::MalformedInput("DER: another type than expected");
  return in.bytes(readLength(in));
}

std::span<const std::byte> readWholeDer(qvs::util::ByteReader& in, std::span<const std::byte> input, DerTag tag) {
  const auto begin = in.position();
  readDer(in, tag);
  return input.subspan(begin, in.position() - begin);
}

}  // namespace krvo::encryption
