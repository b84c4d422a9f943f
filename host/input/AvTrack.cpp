#include "host/input/AvTrack.h"

#include <fmt/format.h>

#include "host/errors.h"
#include "host/input/AacTrack.h"
#include "host/input/AvcTrack.h"
#include "host/input/PlainTrack.h"

namespace host {

std::unique_ptr<AvTrack> makeTrack(const AVStream& stream, Log& log) {
  const AVCodecParameters& codec = *stream.codecpar;
  if (codec.codec_id == AV_CODEC_ID_H264) return std::make_unique<AvcTrack>(codec, log);
  if (codec.codec_id == AV_CODEC_ID_AAC) return std::make_unique<AacTrack>(stream, log);
  if (const auto header = plainHeader(codec)) return std::make_unique<PlainTrack>(*header);
  const char* const kind = av_get_media_type_string(codec.codec_type);
  throw InputError(fmt::format(
      "cannot record codec '{}' (stream {}, {}); messages carry video in h264, flv1, vp6f and vp6a, and audio "
      "in aac, mp3, nellymoser and speex (16 kHz, mono); --map chooses other streams",
      avcodec_get_name(codec.codec_id), stream.index, kind != nullptr ? kind : "of unknown kind"));
}

}  // namespace host
