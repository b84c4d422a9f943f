// Collects the description of a recording, the content of its .meta file, from its tracks. This happens once, when the
// first segment is begun, so lengths and frame counts are still 0 in it.

#include <memory>
#include <sstream>

#include "packaging/CodecBoxes.h"
#include "packaging/MetadataMessage.h"
#include "packaging/tagCodec.h"
#include "util/bytes.h"
#include "wrappers/k2m/Exception.h"

namespace ruvo::k2rpkgutil {
namespace {

using namespace qvs::util;
using namespace ruvo::k2r;

/// Status of the exception for an `avcC` box that is longer than the bytes that contain it.
constexpr std::uint32_t kInconsistentAvcC = 42;

struct AvcConfiguration {
  std::uint8_t profile = 0;
  std::uint8_t level = 0;
};

/// Profile and level of the decoder configuration record (ISO/IEC 14496-15, 5.3.3.1) in the first `avcC` box; zeros if
/// there is none or it ends before the level. findAvcCBox() passes over a box of a wrong size; here it is an error,
/// with a status that hosts may know.
AvcConfiguration readAvcConfiguration(const ByteBuffer& codecHeader) {
  constexpr std::size_t kTypeSize = 4;
  const auto found = fromAvcCBox(codecHeader);
  if (found.size() <= 2 * kTypeSize) return {};  // No record follows a type at the very end.
  ByteReader box(found);
  // remaining() no longer counts the size field itself; kTypeSize adds its four bytes.
  if (box.u32() > box.remaining() + kTypeSize) throw krvo::k2m::Exception(kInconsistentAvcC);
  box.skip(kTypeSize);
  constexpr std::size_t kUpToLevel = 4;
  if (box.remaining() < kUpToLevel) return {};
  box.skip(1);
  AvcConfiguration configuration;
  configuration.profile = box.u8();
  box.skip(1);
  configuration.level = box.u8();
  return configuration;
}

std::shared_ptr<MetaTrackInfo> makeTrackInfo(const K2RTrack& track, const SampleDescInfo& info) {
  const auto length = static_cast<double>(track.duration);
  const auto timescale = static_cast<double>(track.timescale);
  // First: the description of a data track that was read from a file may be of any class.
  if (track.handlerType == "meta"_4cc) {
    return std::make_shared<MetaDataTrackInfo>(info.formatCode, length, timescale, track.language);
  }
  if (const auto* video = dynamic_cast<const VideoSampleDescInfo*>(&info)) {
    return std::make_shared<MetaVideoTrackInfo>(info.formatCode, length, timescale, track.language, video->width,
                                                video->height, track.sampleCount);
  }
  if (const auto* audio = dynamic_cast<const AudioSampleDescInfo*>(&info)) {
    return std::make_shared<MetaAudioTrackInfo>(info.formatCode, length, timescale, track.language, audio->sampleRate,
                                                audio->channels);
  }
  return nullptr;
}

void addTrack(MetadataSummary& summary, MetadataSummary::Tracks& tracks, const K2RTrack& track) {
  const K2RSampleDescriptor& descriptor = *track.sampleDescriptors.front();
  auto info = makeTrackInfo(track, *descriptor.info);
  if (!info) return;
  tracks.push_back(std::move(info));
  const FourCC format = descriptor.info->formatCode;
  if (track.handlerType == "vide"_4cc && (isAvcFormat(format) || format == "mp4v"_4cc)) {
    const AvcConfiguration configuration = readAvcConfiguration(descriptor.codecHeader);
    summary.setHasAvc(true);
    summary.setAvcProfile(configuration.profile);
    summary.setAvcLevel(configuration.level);
  }
  // The object type stays 0, as in all recordings; "aacaot" says no more than that there is AAC.
  if (track.handlerType == "soun"_4cc && format == "mp4a"_4cc) summary.setHasAac(true);
}

double secondsOf(const DocumentProperties& properties) {
  const auto duration = static_cast<double>(properties.duration);
  return properties.timescale == 0 ? duration : duration / properties.timescale;
}

}  // namespace

ByteBuffer buildMetadataMessage(IMediaProperties& properties, bool hasSmpte, double smpteOffset) {
  MetadataSummary summary;
  summary.setDuration(secondsOf(properties.getDocumentProperties()));
  MetadataSummary::Tracks infos;
  const std::unique_ptr<ITrackIterator> tracks(properties.getTracks());
  std::shared_ptr<K2RTrack> track;
  while (tracks->hasNext()) {
    tracks->next(track);
    if (!track->sampleDescriptors.empty()) addTrack(summary, infos, *track);
  }
  summary.setTracks(std::move(infos));
  summary.setHasSmpte(hasSmpte);
  summary.setSmpteOffset(smpteOffset);
  std::ostringstream message;
  writeMetadataMessage(message, summary);
  return ByteBuffer(asBytes(message.str()));
}

}  // namespace ruvo::k2rpkgutil
