#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"

namespace qvs::util {

/// A box being written (ISO/IEC 14496-12, 4.2): its header stands at once, with size 0; the end of the scope patches
/// the 32-bit size. Scopes nest. A box written this way stays below 4 GiB.
class BoxScope {
 public:
  /// A plain box.
  BoxScope(ByteWriter& out, FourCC type);
  /// A full box.
  BoxScope(ByteWriter& out, FourCC type, std::uint8_t version, std::uint32_t flags);
  ~BoxScope() { out_.patchU32(start_, static_cast<std::uint32_t>(out_.size() - start_)); }
  BoxScope(const BoxScope&) = delete;
  BoxScope& operator=(const BoxScope&) = delete;

 private:
  ByteWriter& out_;
  std::size_t start_;
};

/// The header of a box read from memory.
struct BoxView {
  FourCC type = 0;
  /// Header bytes: 8, or 16 with a 64-bit size.
  std::uint32_t headerSize = 0;
  /// Reads the payload of this box only.
  ByteReader payload{{}};
};

/// Reads the next box, whatever its type; `in` then stands behind it. A 64-bit size is taken, and a size of 0 reaches
/// to the end of the input. Throws MalformedInput for a size below the header's or beyond the input.
BoxView nextBox(ByteReader& in);

/// Reads the next box and answers its payload. Throws MalformedInput, too, where the type is another one.
ByteReader openBox(ByteReader& in, FourCC type);

/// The word behind the header of a full box.
struct VersionAndFlags {
  std::uint8_t version = 0;
  std::uint32_t flags = 0;
};
VersionAndFlags readVersionAndFlags(ByteReader& payload);

}  // namespace qvs::util
