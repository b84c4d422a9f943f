#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/container/reading/Movie.h"
#include "platform/container/reading/SegmentError.h"
#include "platform/container/reading/Source.h"
#include "util/box.h"
#include "util/bytes.h"

namespace krvo::container {

/// Largest box in bytes that is taken into memory whole, which is any but `mdat`. Far above what a recording makes, so
/// that a damaged size field costs no more memory than this. The writer keeps to it, too.
inline constexpr std::uint64_t kMaxLoadedBox = std::uint64_t{256} << 20;

/// The place of a box in a file (ISO/IEC 14496-12, 4.2).
struct BoxSpan {
  FourCC type = 0;
  /// Offset of its header in the file.
  std::uint64_t offset = 0;
  /// Bytes, with the header.
  std::uint64_t size = 0;
  std::uint32_t headerSize = 0;
  /// Its size field is 0: it ends with the file, and bytes that are appended become part of it.
  bool reachesEnd = false;

  std::uint64_t end() const { return offset + size; }
  std::uint64_t payloadOffset() const { return offset + headerSize; }
  std::uint64_t payloadSize() const { return size - headerSize; }
};

/// Reads the header at `offset`. A size of 0 reaches to the end of the file. Throws SegmentError if the file does not
/// contain the whole box. A size of 1 announces a 64-bit size after the type.
BoxSpan readBoxAt(Source& source, std::uint64_t offset);
/// The same, and throws SegmentError for a box of another type.
BoxSpan expectBoxAt(Source& source, std::uint64_t offset, FourCC type);

/// Reads the payload into memory. Throws SegmentError for one beyond kMaxLoadedBox. The limit is checked before memory
/// is allocated.
std::vector<std::byte> loadPayload(Source& source, const BoxSpan& box);

/// A box in memory with its place in the file, so that errors can name it. A view of the payload.
struct LoadedBox {
  FourCC type = 0;
  // Offsets in the file.
  std::uint64_t offset = 0;
  std::uint64_t payloadOffset = 0;
  qvs::util::ByteReader payload{{}};
};

/// `payload` is that of `box` and outlives the result.
LoadedBox loadedBox(const BoxSpan& box, std::span<const std::byte> payload);

/// Throws MalformedInput unless `condition` is true. To be called inside readBox(), which adds the place.
inline void demand(bool condition, const char* fault) {
  if (!condition) throw qvs::util::MalformedInput(fault);
}

/// Runs `read` on the payload and returns its result. A MalformedInput becomes a SegmentError with the place of this
/// box; a SegmentError of an inner box keeps its place.
template <typename Read>
auto readBox(LoadedBox& box, const Read& read) {
  try {
    return read(box.payload);
  } catch (const SegmentError&) {
    throw;
  } catch (const qvs::util::MalformedInput& error) {
    throw SegmentError(box.offset, "`" + qvs::util::toText(box.type) + "`: " + error.message());
  }
}

/// Runs `visit` on each box in the payload, from the position of its reader on.
template <typename Visit>
/// Throws SegmentError with the place of `parent` for a box that does not fit into it; boxes that were visited before
/// stay visited.
void forEachBox(LoadedBox& parent, const Visit& visit) {
  readBox(parent, [&](qvs::util::ByteReader& payload) {
    while (payload.remaining() > 0) {
      const std::uint64_t offset = parent.payloadOffset + payload.position();
      const qvs::util::BoxView view = qvs::util::nextBox(payload);
      LoadedBox child{view.type, offset, offset + view.headerSize, view.payload};
      visit(child);
    }
  });
}

}  // namespace krvo::container
