#include "packaging/tagCodec.h"

#include <span>

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;

struct CodecRow {
  std::uint8_t nibble = 0;
  TagCodec codec;
};

constexpr CodecRow kVideoCodecs[] = {
    {kH263Video, {"H263"_4cc, 1}},
    {kVp6Video, {"VP6F"_4cc, 2}},
    {kVp6AlphaVideo, {"VP6A"_4cc, 2}},
    {kAvcVideo, {"H264"_4cc, 5}},
};

// MP3 at 8 kHz (14) is missing on purpose: such tags are stored, but no bytes are taken off before their sample.
// Existing files have them so.
constexpr CodecRow kAudioCodecs[] = {
    {kMp3Audio, {".mp3"_4cc, 1}},        {kNellymoser16Audio, {"nmos"_4cc, 1}}, {kNellymoser8Audio, {"nmos"_4cc, 1}},
    {kNellymoserAudio, {"nmos"_4cc, 1}}, {kAacAudio, {"mp4a"_4cc, 2}},          {kSpeexAudio, {"spex"_4cc, 1}},
};

TagCodec find(std::span<const CodecRow> rows, std::uint8_t nibble) {
  for (const auto& row : rows) {
    if (row.nibble == nibble) return row.codec;
  }
  return {};
}

/// Whether rate and sample size of the format are those of the tag's first byte. AAC encoders set these bits to
/// constants; the configuration has the true values.
bool isDescribedByFirstByte(FourCC formatCode) {
  return formatCode == ".mp3"_4cc || formatCode == "nmos"_4cc;
}

}  // namespace

TagCodec tagCodec(std::uint8_t type, std::uint8_t firstByte) {
  switch (type & kTagTypeMask) {
    case kVideoTag:
      return find(kVideoCodecs, lowNibble(firstByte));
    case kAudioTag:
      return find(kAudioCodecs, highNibble(firstByte));
    case kAmf0DataTag:
      return {"amf0"_4cc, 0};
    case kAmf3DataTag:
      return {"amf3"_4cc, 0};
    default:
      return {};
  }
}

FourCC tagFormatCode(FourCC code) {
  return code == "avc1"_4cc || code == "h264"_4cc ? "H264"_4cc : code;
}

bool isCommandFrame(std::uint8_t type, std::uint8_t firstByte) {
  return (type & kTagTypeMask) == kVideoTag && highNibble(firstByte) == kCommandFrame;
}

std::uint32_t audioChannels(std::uint8_t firstByte) {
  return (firstByte & 0x01) != 0 ? 2 : 1;
}

std::uint32_t audioBytesPerSample(FourCC formatCode, std::uint8_t firstByte) {
  if (!isDescribedByFirstByte(formatCode) && formatCode != "spex"_4cc) return 0;
  return (firstByte & 0x02) != 0 ? 2 : 1;
}

float audioSampleRate(FourCC formatCode, std::uint8_t firstByte) {
  if (formatCode == "spex"_4cc) return 16000.0F;  // the only rate of Speex in tags; its bits say something else
  if (!isDescribedByFirstByte(formatCode)) return 0.0F;
  // Not 5512.5, 11025 and so on: the descriptions of all existing recordings have these figures.
  constexpr float kRates[] = {5000.0F, 11000.0F, 22000.0F, 44000.0F};
  return kRates[firstByte >> 2 & 0x03];
}

}  // namespace ruvo::k2rpkgutil
