#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/container/Movie.h"
#include "platform/container/SegmentError.h"
#include "platform/container/Source.h"
#include "util/box.h"
#include "util/bytes.h"

namespace krvo::container {

/// Where a box lies in a file.
struct BoxSpan {
  FourCC type = 0;
  /// Of the first byte of its header.
  std::uint64_t offset = 0;
  /// Header included.
  std::uint64_t size = 0;
  std::uint32_t headerSize = 0;
  /// Its size field is 0: whatever is put behind it becomes part of it.
  bool reachesEnd = false;

  std::uint64_t end() const { return offset + size; }
  std::uint64_t payloadOffset() const { return offset + headerSize; }
  std::uint64_t payloadSize() const { return size - headerSize; }
};

/// Reads the header at `offset`. A size of 0 reaches to the end of the file. Throws SegmentError where there is no
/// whole box.
BoxSpan readBoxAt(Source& source, std::uint64_t offset);
/// The same, and throws SegmentError, too, for a box of another type.
BoxSpan expectBoxAt(Source& source, std::uint64_t offset, FourCC type);

/// Takes the payload into memory. Throws SegmentError for one beyond kMaxLoadedBox.
std::vector<std::byte> loadPayload(Source& source, const BoxSpan& box);

/// A box in memory that knows where it lies in the file. A view.
struct LoadedBox {
  FourCC type = 0;
  std::uint64_t offset = 0;
  std::uint64_t payloadOffset = 0;
  qvs::util::ByteReader payload{{}};
};

LoadedBox loadedBox(const BoxSpan& box, std::span<const std::byte> payload);

/// Runs `read` on the payload. What it finds malformed becomes a SegmentError with the place of this box; those of
/// inner boxes keep theirs.
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

/// Runs `visit` on each box in the payload from where its reader stands.
template <typename Visit>
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
