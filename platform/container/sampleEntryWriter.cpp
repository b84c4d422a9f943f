#include "platform/container/sampleEntryWriter.h"

#include "platform/container/numbers.h"
#include "util/box.h"

namespace krvo::container {
namespace {

using qvs::util::BoxScope;
using qvs::util::ByteWriter;

constexpr std::uint16_t kDataReference = 1;
constexpr std::size_t kCompressorNameSize = 32;

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
  // Decoders take a rate that does not fit from the codec header.
  out.u32(format.sampleRate < kBeyondEntry ? toFixed<std::uint32_t>(format.sampleRate, 16) : 0);
}

void writeFormat(ByteWriter& out, const HintFormat& format) {
  out.u16(format.hintTrackVersion);
  out.u16(format.highestCompatibleVersion);
  out.u16(format.maximumPacketSize);
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

}  // namespace krvo::container
