#include "host/input/onMetaData.h"

#include <sstream>
#include <string>

#include "server/AMF0Items.h"
#include "util/bytes.h"

namespace host {
namespace {

/// The number of a codec in messages; 0 for one that they cannot carry. Video and audio have separate numbers.
int codecNumber(AVCodecID codec) {
  switch (codec) {
    case AV_CODEC_ID_FLV1:
      return 2;
    case AV_CODEC_ID_VP6F:
      return 4;
    case AV_CODEC_ID_VP6A:
      return 5;
    case AV_CODEC_ID_H264:
      return 7;
    case AV_CODEC_ID_MP3:
      return 2;
    case AV_CODEC_ID_NELLYMOSER:
      return 6;
    case AV_CODEC_ID_AAC:
      return 10;
    case AV_CODEC_ID_SPEEX:
      return 11;
    default:
      return 0;
  }
}

/// Adds a number. Leaves it out if it is 0 or less: libavformat does not know it then.
void put(std::ostream& out, const char* name, double value) {
  if (value > 0) qvs::amfmessage::AMF0PropNumber(name, value).writeTo(out);
}

void putVideo(std::ostream& out, const AVStream& stream) {
  put(out, "width", stream.codecpar->width);
  put(out, "height", stream.codecpar->height);
  if (stream.avg_frame_rate.den > 0) put(out, "framerate", av_q2d(stream.avg_frame_rate));
  put(out, "videocodecid", codecNumber(stream.codecpar->codec_id));
}

void putAudio(std::ostream& out, const AVStream& stream) {
  put(out, "audiocodecid", codecNumber(stream.codecpar->codec_id));
  put(out, "audiosamplerate", stream.codecpar->sample_rate);
  put(out, "audiochannels", stream.codecpar->ch_layout.nb_channels);
}

}  // namespace

std::vector<std::byte> makeOnMetaData(const AVFormatContext& input, const StreamChoice& choice) {
  std::ostringstream out;
  qvs::amfmessage::AMF0String("onMetaData").writeTo(out);
  qvs::amfmessage::AMF0ArrayBegin().writeTo(out);
  if (input.duration > 0) put(out, "duration", static_cast<double>(input.duration) / AV_TIME_BASE);
  if (choice.video != -1) putVideo(out, *input.streams[choice.video]);
  if (choice.audio != -1) putAudio(out, *input.streams[choice.audio]);
  qvs::amfmessage::AMF0ArrayEnd().writeTo(out);
  const std::string text = out.str();
  const auto bytes = qvs::util::asBytes(text);
  return {bytes.begin(), bytes.end()};
}

}  // namespace host
