#pragma once

#include <cstdint>

#include "util/fourcc.h"
#include "util/tagHeader.h"

namespace ruvo::k2rpkgutil {

using qvs::util::FourCC;

// The kinds of tags, as the type byte says them under kTagTypeMask.
inline constexpr std::uint8_t kAudioTag = 8;
inline constexpr std::uint8_t kVideoTag = 9;
inline constexpr std::uint8_t kAmf3DataTag = 15;
inline constexpr std::uint8_t kAmf0DataTag = 18;
/// Set in the type byte of a protected tag.
inline constexpr std::uint8_t kTagFilterBit = 0x20;

// What the first data byte says: video has the frame type in the high nibble and the codec in the low one, audio the
// sound format in the high nibble.
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

// What the second data byte of an AVC or AAC tag says.
inline constexpr std::uint8_t kSequenceHeader = 0;
inline constexpr std::uint8_t kAvcEndOfSequence = 2;

constexpr std::uint8_t highNibble(std::uint8_t byte) {
  return static_cast<std::uint8_t>(byte >> 4);
}
constexpr std::uint8_t lowNibble(std::uint8_t byte) {
  return static_cast<std::uint8_t>(byte & 0x0F);
}

/// How a tag's data is coded.
struct TagCodec {
  /// 0 for a codec that is not known.
  FourCC formatCode = 0;
  /// Bytes of the data in front of the sample.
  std::uint32_t headerSize = 0;
};

/// The codec of a tag, by its type byte and its first data byte; bits of `type` beside the kind are ignored.
TagCodec tagCodec(std::uint8_t type, std::uint8_t firstByte);

/// Brings "avc1" and "h264" to "H264", the code that tags have; other codes stand for themselves.
FourCC tagFormatCode(FourCC code);
inline bool isAvcFormat(FourCC code) {
  using namespace qvs::util;
  return tagFormatCode(code) == "H264"_4cc;
}

/// A video tag that carries a command to the player and no picture.
bool isCommandFrame(std::uint8_t type, std::uint8_t firstByte);

// What the first data byte of an audio tag says, for the format that tagCodec() answers.
std::uint32_t audioChannels(std::uint8_t firstByte);
/// 0 where the format does not go by the byte.
std::uint32_t audioBytesPerSample(FourCC formatCode, std::uint8_t firstByte);
/// Hertz, in the rounded figures that sample descriptions carry; 0 where the format does not go by the byte.
float audioSampleRate(FourCC formatCode, std::uint8_t firstByte);

}  // namespace ruvo::k2rpkgutil
