#include "packaging/mtgCodec.h"

#include "packaging/tagCodec.h"

namespace ruvo::k2rpkgutil {

using namespace qvs::util;

namespace {

// Codecs that only this source knows: a recording has no track for them, so they are not in tagCodec.h.
constexpr std::uint32_t kJpegVideo = 1;
constexpr std::uint32_t kPlainAudio = 0;
constexpr std::uint32_t kAdpcmAudio = 1;
constexpr std::uint32_t kPlainLittleEndianAudio = 3;

}  // namespace

FourCC mtgVideoFormat(std::uint32_t codecId) {
  switch (codecId) {
    case kJpegVideo:
      return "jpeg"_4cc;
    case kH263Video:
      return "H263"_4cc;
    case kVp6Video:
      return "VP6F"_4cc;
    case kVp6AlphaVideo:
      return "VP6A"_4cc;
    case kAvcVideo:
      return "avc1"_4cc;
    default:
      return 0;
  }
}

FourCC mtgAudioFormat(std::uint32_t soundFormat) {
  switch (soundFormat) {
    // On purpose: sounds without a format code of their own count as MP3 here, while tagCodec() returns 0 for them.
    case kPlainAudio:
    case kAdpcmAudio:
    case kMp3Audio:
    case kPlainLittleEndianAudio:
    case kMp3At8kHzAudio:
      return ".mp3"_4cc;
    case kNellymoser16Audio:
    case kNellymoser8Audio:
    case kNellymoserAudio:
      return "nmos"_4cc;
    case kAacAudio:
      return "mp4a"_4cc;
    case kSpeexAudio:
      return "spex"_4cc;
    default:
      return 0;
  }
}

std::uint32_t mtgVideoHeaderBytes(std::uint32_t codecId) {
  switch (codecId) {
    case kH263Video:
      return 1;
    case kVp6Video:
    case kVp6AlphaVideo:
      return 2;
    case kAvcVideo:
      return 5;
    default:
      return 0;
  }
}

std::uint32_t mtgAudioHeaderBytes(FourCC format) {
  if (format == "mp4a"_4cc) return 2;
  return format == 0 ? 0 : 1;
}

float mtgSampleRate(std::uint32_t rateIndex) {
  // 5500 here and 5000 in audioSampleRate() are no misprint: the two kinds of descriptions differ.
  constexpr float kRates[] = {5500.0F, 11000.0F, 22000.0F, 44000.0F};
  return kRates[rateIndex & 3];
}

}  // namespace ruvo::k2rpkgutil
