#include "host/files/TagContent.h"

#include <fmt/format.h>

#include <algorithm>

#include "packaging/Message.h"
#include "packaging/tagCodec.h"
#include "platform/container/reading/SegmentError.h"
#include "util/bytes.h"
#include "util/tagHeader.h"

namespace host {
namespace {

using namespace qvs::util;
using namespace ruvo::k2rpkgutil;
using krvo::container::SegmentError;

/// Offset of the composition time in an AVC tag, after the first two bytes of data.
constexpr std::size_t kCompositionTimeOffset = kTagHeaderSize + 2;
/// Longer than any filter name. Limits the search for its end.
constexpr std::size_t kMaxFilterName = 32;

/// Number of data bytes of a protected tag that are in the clear, before the filter fields.
std::uint32_t clearBytes(const TagContent& tag, std::span<const std::byte> data) {
  const auto code = tag.formatCode();
  // VP6 has a header of two bytes, but the second is encrypted with the sample.
  if (code == "VP6F"_4cc || code == "VP6A"_4cc) return 1;
  return codecHeaderSize(tag.place.rawType, data.data(), tag.place.dataSize);
}

/// Offset of the filter parameters. After the clear bytes come: u8 filter count, the name with its terminator, u24
/// length of the parameters. Nothing if they do not fit in the tag.
std::optional<std::uint32_t> protectedSampleOffset(const TagContent& tag, std::span<const std::byte> data) {
  std::uint32_t offset = clearBytes(tag, data) + 1;
  const std::size_t first = offset;
  while (offset < data.size() && offset - first < kMaxFilterName && data[offset] != std::byte{0}) ++offset;
  if (offset >= data.size() || data[offset] != std::byte{0}) return std::nullopt;
  offset += 1 + 3;
  if (offset > tag.place.dataSize) return std::nullopt;
  return offset;
}

}  // namespace

std::uint8_t TagContent::type() const {
  return place.rawType & kTagTypeMask;
}
bool TagContent::isVideo() const {
  return type() == kVideoTag;
}
bool TagContent::isAudio() const {
  return type() == kAudioTag;
}
bool TagContent::isKeyFrame() const {
  return isVideo() && highNibble(firstByte) == kKeyFrame;
}
bool TagContent::isSequenceHeader() const {
  const auto code = formatCode();
  return (code == "H264"_4cc || code == "mp4a"_4cc) && secondByte == kSequenceHeader;
}
FourCC TagContent::formatCode() const {
  return tagCodec(place.rawType, firstByte).formatCode;
}
bool TagContent::hidesCodec() const {
  constexpr std::uint8_t kFilterCount = 1;  // as a first byte of data it names no codec
  return isProtected && (isVideo() || isAudio()) && firstByte == kFilterCount;
}
bool TagContent::isRecordable() const {
  if (formatCode() != 0) return true;
  // 8 kHz MP3 is stored, but has no format code of its own.
  return isAudio() && highNibble(firstByte) == kMp3At8kHzAudio;
}

std::uint64_t tagSizeAt(FileView& file, std::uint64_t offset, std::uint64_t limit) {
  const std::uint64_t left = limit - std::min(offset, limit);
  if (left < kTagOverhead) throw SegmentError(offset, fmt::format("a tag expected, {} bytes left in the `mdat`", left));
  return std::uint64_t{tagDataSize(file.view(offset, kTagHeaderSize).data())} + kTagOverhead;
}

TagContent readTag(FileView& file, std::uint64_t offset, std::uint64_t size, std::uint64_t limit,
                   bool protectedRecording) {
  const std::uint64_t left = limit - std::min(offset, limit);
  if (size < kTagOverhead || size > left) {
    throw SegmentError(offset, fmt::format("a tag of {} bytes, {} bytes left in the `mdat`", size, left));
  }
  // The part of the tag that is ever read. One view: tags are small, and each view may move the window.
  constexpr std::size_t kFront = kTagHeaderSize + 8 + kMaxFilterName;
  const auto front = file.view(offset, static_cast<std::size_t>(std::min<std::uint64_t>(size, kFront)));
  TagContent tag;
  tag.place = {.offset = offset,
               .rawType = tagRawType(front.data()),
               .timestamp = tagTimestamp(front.data()),
               .dataSize = static_cast<std::uint32_t>(size - kTagOverhead)};
  ByteReader reader(front.subspan(kTagHeaderSize - 3));
  tag.streamId = reader.u24();
  tag.firstByte = reader.u8();
  tag.secondByte = reader.u8();
  // A shorter tag is malformed, but its other fields are worth reading.
  if (tag.formatCode() == "H264"_4cc && size >= kCompositionTimeOffset + 3 + kTagBackPointerSize) {
    tag.compositionTime = reader.i24();
  }
  const auto data =
      front.subspan(kTagHeaderSize, std::min<std::size_t>(front.size() - kTagHeaderSize, tag.place.dataSize));
  tag.isProtected = protectedRecording && (tag.place.rawType & kTagProtectedBit) != 0;
  tag.sampleOffset = tag.isProtected ? protectedSampleOffset(tag, data)
                                     : codecHeaderSize(tag.place.rawType, data.data(), tag.place.dataSize);
  // A second view, which may move the window: `front` and `data` must not be used after it.
  tag.backPointer = ByteReader(file.view(tag.place.end() - kTagBackPointerSize, kTagBackPointerSize)).u32();
  return tag;
}

}  // namespace host
