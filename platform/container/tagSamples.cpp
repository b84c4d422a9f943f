#include "platform/container/tagSamples.h"

#include "platform/container/reading/numbers.h"
#include "platform/container/status.h"
#include "util/bytes.h"
#include "util/narrow.h"
#include "util/tagHeader.h"

namespace krvo::container {
namespace {

constexpr std::uint32_t kMilliseconds = 1000;
// An AVC tag's data begin with frame type and codec id, the packet type, and the signed 24-bit composition time.
constexpr std::uint8_t kCodecIdMask = 0x0F;
constexpr std::uint8_t kAvcCodecId = 7;
constexpr std::uint32_t kAvcHeaderSize = 5;
constexpr std::size_t kCompositionTimeOffset = qvs::util::kTagHeaderSize + 2;
constexpr std::uint32_t kSyncMask = 0xFF;

/// Only the low byte counts; callers use the others for themselves.
bool isSync(const K2MSampleInfo& info) {
  return (info.flags & kSyncMask) == 1;
}

/// Samples of these carry composition offsets: `avc1`, and `encv` before an `avcC` box.
bool isAvc(const SampleDescription& description) {
  if (description.formatCode == "avc1"_4cc) return true;
  if (description.formatCode != "encv"_4cc || description.codecHeader.size() < 8) return false;
  qvs::util::ByteReader header(description.codecHeader);
  header.skip(4);
  return header.u32() == "avcC"_4cc;
}

/// False for an AVC message too short for its codec header. Its composition time would be read from what follows: the
/// back pointer, or in a protected tag the filter. There the count of 1 is where the codec id would be, so that is
/// checked.
bool hasAvcHeader(std::span<const std::byte> tag) {
  if (tag.size() < qvs::util::kTagOverhead + kAvcHeaderSize) return false;
  const auto first = std::to_integer<std::uint8_t>(tag[qvs::util::kTagHeaderSize]);
  return (first & kCodecIdMask) == kAvcCodecId;
}

std::int32_t storedCompositionTime(const Track& track, std::span<const std::byte> tag) {
  // The track may have lost its descriptions to a damaged header; the selection counts from 1.
  require(track.selectedDescription <= track.descriptions.size());
  const SampleDescription& description = *track.descriptions[track.selectedDescription - 1];
  if (!isAvc(description) || !hasAvcHeader(tag)) return 0;
  qvs::util::ByteReader reader(tag);
  reader.skip(kCompositionTimeOffset);
  return reader.i24();
}

}  // namespace

Sample hintSample(const Track& track, const K2MSampleInfo& info) {
  require(info.length > 0 && info.timescale > 0);
  return {.time = rescale(info.time, info.timescale, track.timescale), .size = info.length, .sync = isSync(info)};
}

Sample mediaSample(const Track& track, std::span<const std::byte> tag, const K2MSampleInfo& info,
                   const K2MMediaRange& media) {
  require(media.length <= tag.size() && media.offset <= tag.size() - media.length);
  const std::int64_t composition =
      std::int64_t{rescale(static_cast<std::int32_t>(info.compositionOffset), info.timescale, track.timescale)} +
      rescale(storedCompositionTime(track, tag), kMilliseconds, track.timescale);
  return {.time = rescale(info.time, info.timescale, track.timescale),
          .offset = media.offset,
          .size = media.length,
          .compositionOffset = qvs::util::narrow<std::int32_t>(composition),
          .sync = isSync(info)};
}

AccessPoint accessPoint(const K2MSampleInfo& info) {
  // OpenFragment adds the offset of the tag in the fragment.
  return {.time = rescale(info.time, info.timescale, kMilliseconds), .offset = 0};
}

}  // namespace krvo::container
