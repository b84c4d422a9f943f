#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qvs {

/// The kind of a message: its type byte with kTagTypeMask applied. A type byte may have values that are none of these.
/// The Ex kinds carry AMF3, after a byte for the encoding, where the kinds of the same name carry AMF0.
enum class MessageKind : std::uint8_t {
  kUserControl = 4,
  kVirtualUserControl = 7,
  kAudio = 8,
  kVideo = 9,
  kDataEx = 15,
  kContainerEx = 16,
  kCommandEx = 17,
  kData = 18,
  kContainer = 19,
  kCommand = 20,
  kUdp = 21,
  kAggregate = 22,
  kPresent = 23,
};

/// All kinds are less than this.
inline constexpr std::size_t kKindLimit = 24;

// The first payload byte of audio and video, by its bits:
//
//     audio   codec (bits 7-4), rate (3-2), 16 bits a sample (1), stereo (0)
//     video   frame type (bits 7-4; 1 key frame, 3 disposable, 5 no picture), codec (3-0)
//
// A control message begins with a u16 subtype.

// Names for diagnostics: fixed texts, empty for a value without a name.

/// The name of a message kind.
std::string_view kindName(std::uint32_t kind);
/// The name of the subtype of a control message, which is the number in its first two payload bytes.
std::string_view controlName(std::uint32_t subtype);
/// The name of an audio codec: the high nibble of the first payload byte, not shifted, as SingleMessage::codec returns
/// it.
std::string_view audioCodecName(std::uint32_t codec);
/// The name of rate, width and channels: the low nibble of the first payload byte of audio.
std::string_view audioFormatName(std::uint32_t format);
/// The name of a video codec: the low nibble of the first payload byte.
std::string_view videoCodecName(std::uint32_t codec);

}  // namespace qvs
