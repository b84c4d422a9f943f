#include "host/exporting/mp4Codec.h"

#include <fmt/format.h>

#include <cstddef>

#include "host/errors.h"
#include "packaging/mp4/K2MAdaptor/source/AACBitstream.h"
#include "packaging/tagCodec.h"

namespace host {

using namespace ruvo::k2rpkgutil;
using qvs::util::FourCC;
using qvs::util::operator""_4cc;
using qvs::util::toText;

AVCodecID codecOf(FourCC format) {
  if (isAvcFormat(format)) return AV_CODEC_ID_H264;
  if (format == "mp4a"_4cc) return AV_CODEC_ID_AAC;
  if (format == ".mp3"_4cc) return AV_CODEC_ID_MP3;
  throw CommandError(fmt::format("MP4 does not have the codec '{}'; a .mtg file takes it", toText(format)));
}

std::int64_t samplesPerFrame(AVCodecID codec, int sampleRate) {
  if (codec == AV_CODEC_ID_AAC) return 1024;
  return sampleRate < 32000 ? 576 : 1152;
}

int mpegSampleRate(std::span<const std::byte> frame) {
  constexpr int kRates[] = {44100, 48000, 32000, 0};
  // Eleven bits of sync word, then two of version; the rate is in the upper bits of the third byte.
  if (frame.size() < 4 || frame[0] != std::byte{0xFF} || (frame[1] & std::byte{0xE0}) != std::byte{0xE0}) return 0;
  const int rate = kRates[std::to_integer<unsigned>(frame[2] >> 2 & std::byte{3})];
  switch (std::to_integer<unsigned>(frame[1] >> 3 & std::byte{3})) {
    case 3:  // MPEG-1
      return rate;
    case 2:  // MPEG-2
      return rate / 2;
    case 0:  // MPEG-2.5, which encoders write although no standard has it
      return rate / 4;
    default:
      return 0;
  }
}

int aacSampleRate(std::span<const std::byte> configuration) {
  AacConfig config;
  config.data = configuration.data();
  config.dataSize = static_cast<std::int32_t>(configuration.size());
  readAacConfig(config);
  return config.sampleRate;
}

}  // namespace host
