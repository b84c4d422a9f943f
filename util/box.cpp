#include "util/box.h"

#include <string>

namespace qvs::util {

BoxScope::BoxScope(ByteWriter& out, FourCC type) : out_(out), start_(out.size()) {
  out.u32(0);
  out.u32(type);
}

BoxScope::BoxScope(ByteWriter& out, FourCC type, std::uint8_t version, std::uint32_t flags) : BoxScope(out, type) {
  out.u8(version);
  out.u24(flags);
}

void writeSizeAndType(ByteWriter& out, FourCC type, std::uint64_t boxSize) {
  const bool large = boxHeaderSize(boxSize) == 16;
  out.u32(large ? 1 : static_cast<std::uint32_t>(boxSize));
  out.u32(type);
  if (large) out.u64(boxSize);
}

BoxView nextBox(ByteReader& in) {
  const std::size_t available = in.remaining();
  const SizeAndType front = readSizeAndType(in);
  // A stored 64-bit size of 0 is malformed; only in 32 bits does 0 mean "to the end".
  const bool reachesEnd = front.size == 0 && front.headerSize == 8;
  const std::uint64_t size = reachesEnd ? available : front.size;
  // Both limits before the subtraction: a smaller size would wrap to a payload of almost 2^64 bytes.
  if (size < front.headerSize || size > available) {
    throw MalformedInput(toText(front.type) + ": box size " + std::to_string(size) + " with " +
                         std::to_string(available) + " bytes left");
  }
  return {front.type, front.headerSize, ByteReader(in.bytes(size - front.headerSize))};
}

ByteReader openBox(ByteReader& in, FourCC type) {
  const BoxView box = nextBox(in);
  if (box.type != type) throw MalformedInput(toText(type) + " expected, " + toText(box.type) + " found");
  return box.payload;
}

VersionAndFlags readVersionAndFlags(ByteReader& payload) {
  VersionAndFlags word;
  word.version = payload.u8();
  word.flags = payload.u24();
  return word;
}

}  // namespace qvs::util
