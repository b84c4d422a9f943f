#include "platform/tagstream/TagFile.h"

#include <algorithm>

#include "platform/tagstream/status.h"
#include "util/bytes.h"

namespace krvo::tagstream {

using qvs::util::kTagBackPointerSize;
using qvs::util::kTagHeaderSize;

namespace {

constexpr std::size_t kSignatureSize = 4;
constexpr std::size_t kSizeOffset = 5;
constexpr std::size_t kHeaderSize = 9;

bool isLetter(std::byte symbol) {
  const auto lower = static_cast<char>(symbol | std::byte{0x20});
  return lower >= 'a' && lower <= 'z';
}

/// Any three letters: they name the program that made the file, and tags have one form. The flags after them are not
/// read (docs/decisions.md, "Neither flags nor back pointers are believed").
bool hasSignature(std::span<const std::byte> start) {
  return start.size() >= kSignatureSize && std::all_of(start.begin(), start.begin() + 3, isLetter) &&
         start[3] == std::byte{1};
}

}  // namespace

TagFile::TagFile(const KrvoMTGInputStreamCallBacks& stream, const KrvoMTGAllocatorCallBacks& allocator)
    : bytes_(stream, allocator) {
  const auto header = bytes_.view(0, kHeaderSize);
  require(hasSignature(header), kKrvoMTGNoTagStream);
  require(header.size() == kHeaderSize, kKrvoMTGBadHeader);
  const std::uint32_t size = qvs::util::ByteReader(header.subspan(kSizeOffset)).u32();
  require(size >= kHeaderSize, kKrvoMTGBadHeader);
  firstTagOffset_ = std::uint64_t{size} + kTagBackPointerSize;  // in 64 bits: a size near 2^32 is allowed
}

std::optional<FileTag> TagFile::tagAt(std::uint64_t offset) {
  FileTag tag{.offset = offset};
  if (!bytes_.holds(offset, kTagHeaderSize)) return std::nullopt;
  const auto header = bytes_.view(offset, kTagHeaderSize);
  if (header.size() < kTagHeaderSize) return std::nullopt;
  std::copy(header.begin(), header.end(), tag.header.begin());
  // Copied first: this may move the window and end the view of the header. Without the back pointer, since the last tag
  // of a live capture often lacks it.
  if (!bytes_.holds(offset, tag.length())) return std::nullopt;
  return tag;
}

std::optional<FileTag> TagFile::tagEndingAt(std::uint64_t end) {
  if (end <= firstTagOffset_) return std::nullopt;
  require(end - firstTagOffset_ >= qvs::util::kTagOverhead, kKrvoMTGNoWayBack);
  const auto pointer = bytes_.view(end - kTagBackPointerSize, kTagBackPointerSize);
  require(pointer.size() == kTagBackPointerSize, kKrvoMTGNoWayBack);
  const std::uint32_t length = qvs::util::ByteReader(pointer).u32();
  // The subtractions cannot wrap around after these checks, whatever number the file has here.
  require(length >= kTagHeaderSize && length <= end - firstTagOffset_ - kTagBackPointerSize, kKrvoMTGNoWayBack);
  const auto tag = tagAt(end - kTagBackPointerSize - length);
  // The tag's own size has to agree: a wrong pointer may lead to bytes that look like a tag.
  require(tag && tag->length() == length, kKrvoMTGNoWayBack);
  return tag;
}

}  // namespace krvo::tagstream
