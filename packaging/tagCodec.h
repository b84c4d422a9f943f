#pragma once

#include <cstdint>

#include "util/fourcc.h"
#include "util/tagHeader.h"

namespace ruvo::k2rpkgutil {

using qvs::util::FourCC;

using qvs::util::kAmf0DataTag;
using qvs::util::kAmf3DataTag;
using qvs::util::kAudioTag;
using qvs::util::kTagProtectedBit;
using qvs::util::kVideoTag;

// The first data byte. Video: frame type in the high nibble, codec id in the low one. Audio: sound format in the high
// nibble, then two bits of sample rate, one of sample size, one of channels. Hosts send these numbers and files contain
// them, so none may change.
inline constexpr std::uint8_t kKeyFrame = 1;
inline constexpr std::uint8_t kCommandFrame = 5;
inline constexpr std::uint8_t kH263Video = 2;
inline constexpr std::uint8_t kVp6Video = 4;
inline constexpr std::uint8_t kVp6AlphaVideo = 5;
inline constexpr std::uint8_t kAvcVideo = 7;
inline constexpr std::uint8_t kMp3Audio = 2;
inline constexpr std::uint8_t kNellymoser16Audio = 4;
inline constexpr std::uint8_t kNellymoser8Audio = 5;
inline constexpr std::uint8_t kNellymoserAudio = 6;
inline constexpr std::uint8_t kAacAudio = 10;
inline constexpr std::uint8_t kSpeexAudio = 11;
inline constexpr std::uint8_t kMp3At8kHzAudio = 14;

// The packet type: the second data byte of an AVC or AAC tag.
inline constexpr std::uint8_t kSequenceHeader = 0;
inline constexpr std::uint8_t kCodedFrame = 1;
inline constexpr std::uint8_t kAvcEndOfSequence = 2;

constexpr std::uint8_t highNibble(std::uint8_t byte) {
  return static_cast<std::uint8_t>(byte >> 4);
}
constexpr std::uint8_t lowNibble(std::uint8_t byte) {
  return static_cast<std::uint8_t>(byte & 0x0F);
}

/// The codec of a tag.
struct TagCodec {
  /// The format code of sample descriptions; 0 for an unknown codec.
  FourCC formatCode = 0;
  /// Bytes of the data before the sample; 0 for an unknown codec.
  std::uint32_t headerSize = 0;
};

/// Returns the codec of a tag by its type byte and its first data byte. Bits of `type` beside the kind are ignored, so
/// that a protected tag has the codec of the clear one. Not for the data of a protected tag of script data, whose first
/// byte is the number of filters.
TagCodec tagCodec(std::uint8_t type, std::uint8_t firstByte);

/// Maps "avc1" and "h264", which descriptions of files have for AVC, to "H264", the code of tags. Other codes are
/// returned unchanged.
FourCC tagFormatCode(FourCC code);
/// True for any of the three codes of AVC.
inline bool isAvcFormat(FourCC code) {
  using namespace qvs::util;
  return tagFormatCode(code) == "H264"_4cc;
}

/// True for a video tag of frame type 5: a command to the player, without a picture.
bool isCommandFrame(std::uint8_t type, std::uint8_t firstByte);

// The fields of an audio tag's first data byte. `formatCode` is the one that tagCodec() returns for it.

/// 1 or 2.
std::uint32_t audioChannels(std::uint8_t firstByte);
/// 1 or 2; 0 for formats whose byte says nothing true about it (AAC).
std::uint32_t audioBytesPerSample(FourCC formatCode, std::uint8_t firstByte);
/// Hertz, in the rounded figures that sample descriptions have always had (11000, not 11025); 0 for formats whose byte
/// says nothing true about it.
float audioSampleRate(FourCC formatCode, std::uint8_t firstByte);

}  // namespace ruvo::k2rpkgutil
