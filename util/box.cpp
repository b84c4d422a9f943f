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

BoxView nextBox(ByteReader& in) {
  const std::size_t start = in.position();
  const std::size_t available = in.remaining();
  std::uint64_t size = in.u32();
  BoxView box;
  box.type = in.u32();
  if (size == 1) {
    size = in.u64();
  } else if (size == 0) {
    size = available;
  }
  box.headerSize = static_cast<std::uint32_t>(in.position() - start);
  // Both limits before the subtraction: a smaller size would wrap to a payload of almost 2^64 bytes.
  if (size < box.headerSize || size > available) {
    throw MalformedInput(toText(box.type) + ": box size " + std::to_string(size) + " with " +
                         std::to_string(available) + " bytes left");
  }
  box.payload = ByteReader(in.bytes(size - box.headerSize));
  return box;
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
