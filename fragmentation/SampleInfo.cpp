#include "fragmentation/SampleInfo.h"

#include "util/tagHeader.h"

namespace ruvo::k2r {
namespace {

/// The frame type in the high four bits of a video payload.
constexpr std::byte kKeyFrameType{1};

SampleKind kindOf(std::uint8_t type) {
  switch (type & qvs::util::kTagTypeMask) {
    case qvs::util::kAudioTag:
      return SampleKind::Audio;
    case qvs::util::kVideoTag:
      return SampleKind::Video;
    default:
      return SampleKind::Data;
  }
}

}  // namespace

SampleInfo SampleInfo::ofMessage(std::uint8_t type, std::span<const std::byte> payload, std::uint64_t time) {
  const SampleKind kind = kindOf(type);
  // Of video only: in an audio payload the same bits are the codec, of which 1 is ADPCM.
  const bool keyFrame = kind == SampleKind::Video && !payload.empty() && (payload.front() >> 4) == kKeyFrameType;
  return {.kind = kind, .time = time, .keyFrame = keyFrame, .empty = payload.empty()};
}

}  // namespace ruvo::k2r
