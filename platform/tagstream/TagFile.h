#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/tagstream/InputWindow.h"
#include "util/tagHeader.h"

namespace krvo::tagstream {

/// The place and the header of a whole tag in the file. A plain value; the data stay in the file.
struct FileTag {
  /// Of the first header byte, from the start of the file.
  std::uint64_t offset = 0;
  std::array<std::byte, qvs::util::kTagHeaderSize> header = {};

  /// The kind of tag, without the protection bit and the reserved bit.
  std::uint8_t type() const { return qvs::util::tagRawType(header.data()) & qvs::util::kTagTypeMask; }
  std::uint32_t dataSize() const { return qvs::util::tagDataSize(header.data()); }
  std::uint32_t timestamp() const { return qvs::util::tagTimestamp(header.data()); }
  /// Bytes of header and data. At most 2^24 + 10, so 32 bits are enough.
  std::uint32_t length() const { return static_cast<std::uint32_t>(header.size()) + dataSize(); }
  /// Offset of the byte after the back pointer, where the next tag begins.
  std::uint64_t end() const { return offset + length() + qvs::util::kTagBackPointerSize; }
};

/// A file of tags: finds them by their offsets; TagWalk moves from one to the next. Shared by all objects of one
/// reader; belongs to one thread at a time. Every operation throws StatusError, and std::bad_alloc.
class TagFile {
 public:
  /// Reads the header. Throws kKrvoMTGNoTagStream or kKrvoMTGBadHeader for a wrong one.
  TagFile(const KrvoMTGInputStreamCallBacks& stream, const KrvoMTGAllocatorCallBacks& allocator);

  InputWindow& bytes() { return bytes_; }
  /// Offset of the first tag, if there is one.
  std::uint64_t firstTagOffset() const { return firstTagOffset_; }
  /// Returns the tag at `offset`, or nothing if the file ends before the tag's data do. Its back pointer may be
  /// missing.
  std::optional<FileTag> tagAt(std::uint64_t offset);
  /// Returns the tag whose back pointer ends at `end`, or nothing if that is where the first tag begins. Throws
  /// kKrvoMTGNoWayBack if the back pointer does not lead to a tag of the same length. Only if the stream can seek.
  std::optional<FileTag> tagEndingAt(std::uint64_t end);

 private:
  InputWindow bytes_;
  std::uint64_t firstTagOffset_ = 0;
};

}  // namespace krvo::tagstream
