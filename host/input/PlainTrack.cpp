#include "host/input/PlainTrack.h"

#include "util/tagHeader.h"

namespace host {
namespace {

// The first byte of an audio message has the format in the high 4 bits, then rate, sample size and channels.
constexpr unsigned kMp3 = 2;
constexpr unsigned kNellymoser16kMono = 4;
constexpr unsigned kNellymoser8kMono = 5;
constexpr unsigned kNellymoser = 6;
constexpr unsigned kSpeex = 11;
constexpr unsigned kSamplesOf16Bits = 0x02;
constexpr unsigned kStereo = 0x01;

/// The rate field of the byte: 5.5, 11, 22 or 44 kHz. A rate that it cannot express gets that of its family: 32 and 48
/// kHz get 44, half of them 22, a quarter of them 11.
unsigned rateBits(int rate) {
  if (rate >= 32000) return 0x0C;
  if (rate >= 16000) return 0x08;
  if (rate >= 8000) return 0x04;
  return 0x00;
}

PlainHeader audioHeader(unsigned format, unsigned rate, bool stereo) {
  const unsigned byte = format << 4 | rate | kSamplesOf16Bits | (stereo ? kStereo : 0);
  return {.messageType = qvs::util::kAudioTag, .codecByte = static_cast<std::uint8_t>(byte), .adjustment = {}};
}

PlainHeader nellymoserHeader(int rate, bool stereo) {
  // Formats of their own, because the rate field has no code for 8 and 16 kHz.
  if (!stereo && rate == 8000) return audioHeader(kNellymoser8kMono, 0, false);
  if (!stereo && rate == 16000) return audioHeader(kNellymoser16kMono, 0, false);
  return audioHeader(kNellymoser, rateBits(rate), stereo);
}

/// VP6 codes whole blocks of 16 pixels. The first byte of the private data says how much of them is not shown; without
/// them, it is computed from the picture size.
std::uint8_t vp6Adjustment(const AVCodecParameters& codec) {
  const auto extradata = extradataOf(codec);
  if (!extradata.empty()) return std::to_integer<std::uint8_t>(extradata[0]);
  return static_cast<std::uint8_t>((-codec.width & 15) << 4 | (-codec.height & 15));
}

}  // namespace

std::optional<PlainHeader> plainHeader(const AVCodecParameters& codec) {
  const bool stereo = codec.ch_layout.nb_channels == 2;
  switch (codec.codec_id) {
    case AV_CODEC_ID_FLV1:
      return PlainHeader{.messageType = qvs::util::kVideoTag, .codecByte = 2, .adjustment = {}};
    case AV_CODEC_ID_VP6F:
      return PlainHeader{.messageType = qvs::util::kVideoTag, .codecByte = 4, .adjustment = vp6Adjustment(codec)};
    case AV_CODEC_ID_VP6A:
      return PlainHeader{.messageType = qvs::util::kVideoTag, .codecByte = 5, .adjustment = vp6Adjustment(codec)};
    case AV_CODEC_ID_MP3:
      return audioHeader(kMp3, rateBits(codec.sample_rate), stereo);
    case AV_CODEC_ID_NELLYMOSER:
      return nellymoserHeader(codec.sample_rate, stereo);
    case AV_CODEC_ID_SPEEX:
      // The format code means 16 kHz mono, whatever the rate field says.
      if (codec.sample_rate != 16000 || stereo) return std::nullopt;
      return audioHeader(kSpeex, 0, false);
    default:
      return std::nullopt;
  }
}

void PlainTrack::writeFrame(qvs::util::ByteWriter& out, const AVPacket& packet, std::int32_t) const {
  constexpr unsigned kKeyFrame = 0x10;
  constexpr unsigned kOtherFrame = 0x20;
  const bool key = (packet.flags & AV_PKT_FLAG_KEY) != 0;
  const unsigned frameType = header_.messageType == qvs::util::kVideoTag ? (key ? kKeyFrame : kOtherFrame) : 0;
  out.u8(static_cast<std::uint8_t>(header_.codecByte | frameType));
  if (header_.adjustment) out.u8(*header_.adjustment);
  out.bytes(payloadOf(packet));
}

}  // namespace host
