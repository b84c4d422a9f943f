#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "platform/tagstream/InputWindow.h"
#include "util/tagHeader.h"

namespace krvo::tagstream {

/// A whole tag in the file: where it stands, and its header.
struct StoredTag {
  std::uint64_t offset = 0;
  std::array<std::byte, qvs::util::kTagHeaderSize> header = {};

  std::uint8_t type() const { return qvs::util::tagRawType(header.data()) & qvs::util::kTagTypeMask; }
  std::uint32_t dataSize() const { return qvs::util::tagDataSize(header.data()); }
  std::uint32_t timestamp() const { return qvs::util::tagTimestamp(header.data()); }
  /// Of header and data.
  std::uint32_t length() const { return static_cast<std::uint32_t>(header.size()) + dataSize(); }
  std::uint64_t end() const { return offset + length() + qvs::util::kTagBackPointerSize; }
};

/// A file of tags. Every operation throws StatusError.
class TagFile {
 public:
  /// Reads the header.
  TagFile(const KrvoMTGInputStreamCallBacks& stream, const KrvoMTGAllocatorCallBacks& allocator);

  InputWindow& bytes() { return bytes_; }
  /// Where the first tag stands, if there is one.
  std::uint64_t firstTag() const { return firstTag_; }
  /// The tag at `offset`; nothing where the file ends before it does.
  std::optional<StoredTag> tagAt(std::uint64_t offset);
  /// The tag whose back pointer ends at `end`; nothing where that is the place of the first tag. kKrvoMTGNoWayBack
  /// where there is no such tag.
  std::optional<StoredTag> tagEndingAt(std::uint64_t end);

 private:
  InputWindow bytes_;
  std::uint64_t firstTag_ = 0;
};

}  // namespace krvo::tagstream
