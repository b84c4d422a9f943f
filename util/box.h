#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "util/bytes.h"

namespace qvs::util {

/// A box being written (ISO/IEC 14496-12, 4.2). The constructor writes the header with size 0, the destructor patches
/// the 32-bit size: what is written in between is the payload, other boxes included. After an exception the size covers
/// what was written, so `out` ends in part of a box. `out` outlives the scope and is not cleared meanwhile.
///
///     0  u32  size of the whole box, below 4 GiB     8  u8   version   (full box)
///     4  u32  type                                   9  u24  flags     (full box)
///
/// Scopes nest: `{ BoxScope moov(out, "moov"_4cc); { BoxScope mvhd(out, "mvhd"_4cc, 0, 0); ... } }`.
class BoxScope {
 public:
  /// A plain box, 8 bytes of header.
  BoxScope(ByteWriter& out, FourCC type);
  /// A full box, 12 bytes of header; of `flags` the low 24 bits are written.
  BoxScope(ByteWriter& out, FourCC type, std::uint8_t version, std::uint32_t flags);
  ~BoxScope() { out_.patchU32(start_, static_cast<std::uint32_t>(out_.size() - start_)); }
  BoxScope(const BoxScope&) = delete;
  BoxScope& operator=(const BoxScope&) = delete;

 private:
  ByteWriter& out_;
  std::size_t start_;
};

/// The front of a box as stored: 8 bytes, or 16 with a 64-bit size (ISO/IEC 14496-12, 4.2).
struct SizeAndType {
  /// Bytes of the whole box, header included; 0 if the box reaches to the end of what contains it.
  std::uint64_t size = 0;
  FourCC type = 0;
  /// 8 or 16.
  std::uint32_t headerSize = 8;
};

/// Reads the front of a box from a ByteReader or a StreamReader. The size is as stored: the caller compares it
/// with what is there.
template <typename Reader>
SizeAndType readSizeAndType(Reader& in) {
  SizeAndType front;
  front.size = in.u32();
  front.type = in.u32();
  if (front.size == 1) {
    front.size = in.u64();
    front.headerSize = 16;
  }
  return front;
}

// Fronts of boxes whose payload is not in memory with them.

/// Bytes of the header of a box of `boxSize` bytes in all.
inline std::uint32_t boxHeaderSize(std::uint64_t boxSize) {
  return boxSize <= std::numeric_limits<std::uint32_t>::max() ? 8 : 16;
}

/// Bytes of a whole box around a payload of that many.
inline std::uint64_t boxSizeFor(std::uint64_t payload) {
  return payload + boxHeaderSize(payload + 8);
}

/// Appends the front of a box of `boxSize` bytes in all.
void writeSizeAndType(ByteWriter& out, FourCC type, std::uint64_t boxSize);

/// A box in memory, as a view of its bytes: they outlive it.
struct BoxView {
  FourCC type = 0;
  /// Bytes of the header: 8, or 16 with a 64-bit size. Version and flags of a full box are payload here.
  std::uint32_t headerSize = 0;
  /// Cannot read beyond this box.
  ByteReader payload{{}};
};

/// Reads the next box, whatever its type; `in` is then after it, so that a loop visits the boxes of a container. A size
/// of 1 is followed by a 64-bit size, a size of 0 means up to the end of the input. Throws MalformedInput for a size
/// less than the header or beyond the input, and for an input that is shorter than a header.
BoxView nextBox(ByteReader& in);

/// Reads the next box and returns its payload. Also throws MalformedInput if it has another type.
ByteReader openBox(ByteReader& in, FourCC type);

/// The word after the header of a full box.
struct VersionAndFlags {
  std::uint8_t version = 0;
  std::uint32_t flags = 0;
};
/// Reads it from the front of a payload. Throws MalformedInput if the payload is shorter.
VersionAndFlags readVersionAndFlags(ByteReader& payload);

}  // namespace qvs::util
