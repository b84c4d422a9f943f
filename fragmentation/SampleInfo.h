#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ruvo::k2r {

enum class SampleKind : std::uint32_t { Audio = 0, Video = 1, Data = 2 };

/// What a fragmenter sees of one message.
struct SampleInfo {
  SampleKind kind = SampleKind::Audio;
  /// Milliseconds on the recording's timeline; never below those of the sample before.
  std::uint64_t time = 0;
  /// Of a video sample only: decoding can begin here.
  bool keyFrame = false;
  /// There are no data.
  bool empty = false;

  /// Of a message with this type byte, protection bit or not, and this payload. A video payload that begins with the
  /// frame type 1 in its high four bits is a key frame.
  static SampleInfo ofMessage(std::uint8_t type, std::span<const std::byte> payload, std::uint64_t time);

  bool operator==(const SampleInfo&) const = default;
};

}  // namespace ruvo::k2r
