#include "platform/container/reading/sampleEntry.h"

#include "platform/container/reading/numbers.h"
#include "util/box.h"

namespace krvo::container {
namespace {

using qvs::util::BoxScope;
using qvs::util::ByteReader;
using qvs::util::ByteWriter;

constexpr std::uint16_t kDataReference = 1;
/// Bytes of a field of `VisualSampleEntry` that is left empty.
constexpr std::size_t kCompressorNameSize = 32;

/// A data track has no further fields.
void writeFormat(ByteWriter&, std::monostate) {}

void writeFormat(ByteWriter& out, const VideoFormat& format) {
  out.zeros(2 + 2 + 12);
  out.u16(format.width);
  out.u16(format.height);
  out.u32(toFixed<std::uint32_t>(format.horizontalResolution, 16));
  out.u32(toFixed<std::uint32_t>(format.verticalResolution, 16));
  out.zeros(4);
  out.u16(format.frameCount);
  out.zeros(kCompressorNameSize);
  out.u16(format.depth);
  out.i16(-1);
}

void writeFormat(ByteWriter& out, const AudioFormat& format) {
  constexpr float kBeyondEntry = 65536;
  out.zeros(8);
  out.u16(format.channels);
  out.u16(format.bitsPerSample);
  out.zeros(2 + 2);
  // A rate that does not fit the field is left out: decoders take it from the codec header.
  out.u32(format.sampleRate < kBeyondEntry ? toFixed<std::uint32_t>(format.sampleRate, 16) : 0);
}

void writeFormat(ByteWriter& out, const HintFormat& format) {
  out.u16(format.hintTrackVersion);
  out.u16(format.highestCompatibleVersion);
  out.u16(format.maximumPacketSize);
}

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
  // Versions 0 and 1 have the same fields here. In another container format, version 2 has more.
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

FourCC storedFormatCode(FourCC code) {
  switch (code) {
    case "H264"_4cc:
    case "h264"_4cc:
      return "avc1"_4cc;
    default:
      return code;
  }
}

void writeSampleEntry(ByteWriter& out, const SampleDescription& description) {
  BoxScope entry(out, description.formatCode);
  out.zeros(6);
  out.u16(kDataReference);
  std::visit([&out](const auto& format) { writeFormat(out, format); }, description.format);
  out.bytes(description.codecHeader);
}

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
