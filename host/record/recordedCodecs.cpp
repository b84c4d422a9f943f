#include "host/record/recordedCodecs.h"

#include "host/files/RecordedSegments.h"
#include "host/files/RecordingDirectory.h"
#include "host/files/tracks.h"
#include "packaging/CodecBoxes.h"
#include "packaging/tagCodec.h"
#include "util/ByteBuffer.h"
#include "util/bytes.h"

namespace host {

using namespace krvo::container;
using namespace ruvo::k2rpkgutil;

namespace {

/// The first byte of a tag of the codec `format`, if a nibble of that byte (at bit `shift`) names the codec; else
/// nothing.
std::vector<std::byte> byteOf(std::uint8_t type, FourCC format, unsigned shift) {
  for (unsigned codec = 0; codec < 16; ++codec) {
    const auto byte = static_cast<std::uint8_t>(codec << shift);
    if (tagCodec(type, byte).formatCode == format) return {std::byte{byte}};
  }
  return {};
}

std::vector<std::byte> videoHeader(const Track& track) {
  constexpr std::size_t kBoxHeaderSize = 8;
  const FourCC format = tagFormatCode(clearFormat(track));
  const qvs::util::ByteBuffer header(track.descriptions.front()->codecHeader);
  const auto box = findAvcCBox(header);
  if (!isAvcFormat(format) || box.size() < kBoxHeaderSize) return byteOf(kVideoTag, format, 0);
  qvs::util::ByteWriter out;
  out.u8(kKeyFrame << 4 | kAvcVideo);
  out.u8(kSequenceHeader);
  out.u24(0);
  out.bytes(box.subspan(kBoxHeaderSize));
  return out.take();
}

std::vector<std::byte> audioHeader(const Track& track) {
  const FourCC format = clearFormat(track);
  if (format != "mp4a"_4cc) return byteOf(kAudioTag, format, 4);
  qvs::util::ByteWriter out;
  // The low four bits have no meaning for AAC; servers send these.
  out.u8(kAacAudio << 4 | 0x0F);
  out.u8(kSequenceHeader);
  out.bytes(findAacConfig(qvs::util::ByteBuffer(track.descriptions.front()->codecHeader)));
  return out.take();
}

CodecHeaders headersOf(const Movie& movie) {
  CodecHeaders headers;
  const Track* const video = findTrack(movie, "vide"_4cc);
  const Track* const audio = findTrack(movie, "soun"_4cc);
  if (video != nullptr && !video->descriptions.empty()) headers.video = videoHeader(*video);
  if (audio != nullptr && !audio->descriptions.empty()) headers.audio = audioHeader(*audio);
  return headers;
}

}  // namespace

CodecHeaders recordedCodecs(const OutputDirectory& place) {
  const RecordingDirectory directory = readRecordingDirectory(place.native());
  if (!directory.hasBootstrap) return {};
  // Any segment will do, since all have the same tracks. A crash may have left the last one without a header.
  for (auto number = directory.segments.rbegin(); number != directory.segments.rend(); ++number) {
    try {
      return headersOf(OpenSegment(directory.pathOf(directory.segmentName(*number))).reader().movie());
    } catch (const std::exception&) {
      continue;
    }
  }
  return {};
}

}  // namespace host
