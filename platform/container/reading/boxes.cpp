#include "platform/container/reading/boxes.h"

#include <algorithm>
#include <array>

namespace krvo::container {
namespace {

using qvs::util::toText;

constexpr std::uint64_t kSmallHeader = 8;
constexpr std::uint64_t kLargeHeader = 16;

std::string quoted(FourCC type) {
  return "`" + toText(type) + "`";
}

}  // namespace

BoxSpan readBoxAt(Source& source, std::uint64_t offset) {
  const std::uint64_t left = std::max(source.size(), offset) - offset;
  if (left < kSmallHeader) {
    throw SegmentError(offset, "a box expected, " + std::to_string(left) + " bytes left in the file");
  }
  // Zeros follow a file that ends inside a 16-byte header; the 64-bit size is then 0 or incomplete, and refused below.
  std::array<std::byte, kLargeHeader> image{};
  source.read(offset, std::span(image).first(static_cast<std::size_t>(std::min(left, kLargeHeader))));
  qvs::util::ByteReader reader(image);
  const auto front = qvs::util::readSizeAndType(reader);
  BoxSpan box{.type = front.type, .offset = offset, .size = front.size, .headerSize = front.headerSize};
  box.reachesEnd = front.size == 0 && front.headerSize == kSmallHeader;
  if (box.reachesEnd) box.size = left;
  if (box.size < box.headerSize || box.size > left) {
    throw SegmentError(offset, quoted(box.type) + " of " + std::to_string(box.size) + " bytes, with " +
                                   std::to_string(left) + " left in the file");
  }
  return box;
}

BoxSpan expectBoxAt(Source& source, std::uint64_t offset, FourCC type) {
  const BoxSpan box = readBoxAt(source, offset);
  if (box.type != type) throw SegmentError(offset, quoted(type) + " expected, " + quoted(box.type) + " found");
  return box;
}

// The limit is checked before the allocation: a damaged size field must not make a reader allocate gigabytes.
std::vector<std::byte> loadPayload(Source& source, const BoxSpan& box) {
  if (box.payloadSize() > kMaxLoadedBox) {
    throw SegmentError(box.offset, quoted(box.type) + " of " + std::to_string(box.size) + " bytes is too large");
  }
  std::vector<std::byte> payload(static_cast<std::size_t>(box.payloadSize()));
  source.read(box.payloadOffset(), payload);
  return payload;
}

LoadedBox loadedBox(const BoxSpan& box, std::span<const std::byte> payload) {
  return {box.type, box.offset, box.payloadOffset(), qvs::util::ByteReader(payload)};
}

}  // namespace krvo::container
