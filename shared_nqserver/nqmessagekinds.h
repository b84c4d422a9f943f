#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace qvs {

/// What a message is, in its type byte under kTagTypeMask. A type byte may hold values that are none of these. The Ex
/// kinds carry AMF3 where their namesakes carry AMF0.
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

/// Bounds the kinds, bit 6 of the type cleared.
inline constexpr std::size_t kKindLimit = 24;

// Names for diagnostics. Each answers an empty text for a value without a name.

/// Of a message kind.
std::string_view kindName(std::uint32_t kind);
/// Of the subtype of a control message, in its first two payload bytes.
std::string_view controlName(std::uint32_t subtype);
/// Of the first payload byte of an audio message: the high nibble, in place; the low nibble.
std::string_view audioCodecName(std::uint32_t codec);
std::string_view audioFormatName(std::uint32_t format);
/// Of the low nibble of the first payload byte of a video message.
std::string_view videoCodecName(std::uint32_t codec);

}  // namespace qvs
