#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ruvo::k2r {

/// The kind of a message by its type; Data is any type that is neither audio nor video.
enum class SampleKind : std::uint32_t { Audio = 0, Video = 1, Data = 2 };

/// What a fragmenter sees of one message. A value; refers to nothing.
struct SampleInfo {
  SampleKind kind = SampleKind::Audio;
  /// Milliseconds on the recording's timeline; never less than that of the sample before, which the record path sees
  /// to.
  std::uint64_t time = 0;
  /// Of a video sample only: decoding can begin here.
  bool keyFrame = false;
  /// The payload has no bytes.
  bool empty = false;

  /// Describes a message with this type byte, with or without the protection bit, and this payload, of which only the
  /// first byte is read. A video payload with the frame type 1 in its high four bits is a key frame. `time` in
  /// milliseconds.
  static SampleInfo ofMessage(std::uint8_t type, std::span<const std::byte> payload, std::uint64_t time);

  bool operator==(const SampleInfo&) const = default;
};

}  // namespace ruvo::k2r
