#include "platform/container/sampleEntryReader.h"

#include "platform/container/numbers.h"

namespace krvo::container {
namespace {

using qvs::util::ByteReader;

constexpr std::uint64_t kCompressorNameSize = 32;

VideoFormat readVideoFormat(ByteReader& in) {
  VideoFormat format;
  in.skip(2 + 2 + 12);
  format.width = in.u16();
  format.height = in.u16();
  format.horizontalResolution = fromFixed(in.u32(), 16);
  format.verticalResolution = fromFixed(in.u32(), 16);
  in.skip(4);
  format.frameCount = in.u16();
  in.skip(kCompressorNameSize);
  format.depth = in.u16();
  in.skip(2);
  return format;
}

AudioFormat readAudioFormat(ByteReader& in) {
  AudioFormat format;
  // Version 1 has the same fields; that of another format has more of them.
  if (in.u16() > 1) throw qvs::util::MalformedInput("unknown version of an audio entry");
  in.skip(6);
  format.channels = in.u16();
  format.bitsPerSample = in.u16();
  in.skip(2 + 2);
  format.sampleRate = fromFixed(in.u32(), 16);
  return format;
}

HintFormat readHintFormat(ByteReader& in) {
  HintFormat format;
  format.hintTrackVersion = in.u16();
  format.highestCompatibleVersion = in.u16();
  format.maximumPacketSize = in.u16();
  return format;
}

}  // namespace

SampleDescription readSampleEntry(LoadedBox& entry, FourCC handler) {
  return readBox(entry, [&](ByteReader& in) {
    SampleDescription description;
    description.formatCode = entry.type;
    in.skip(6 + 2);
    if (handler == "vide"_4cc) {
      description.format = readVideoFormat(in);
    } else if (handler == "soun"_4cc) {
      description.format = readAudioFormat(in);
    } else if (handler == "hint"_4cc && entry.type == "rtmp"_4cc) {
      description.format = readHintFormat(in);
    }
    const auto codecHeader = in.bytes(in.remaining());
    description.codecHeader.assign(codecHeader.begin(), codecHeader.end());
    return description;
  });
}

}  // namespace krvo::container
