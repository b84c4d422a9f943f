#include "host/inspect/describeTagStream.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <memory>

#include "host/errors.h"
#include "packaging/MTGMediaSource.h"
#include "packaging/RefCountedMemoryArena.h"
#include "util/fourcc.h"

namespace host {

using namespace ruvo::k2rpkgutil;
using qvs::util::toText;
using qvs::util::operator""_4cc;

namespace {

/// The packager allocates its messages here; they go with the context.
class Context final : public IPackagerContext {
 public:
  IMemoryArena& getArena() override { return arena_; }

 private:
  RefCountedMemoryArena arena_;
};

/// Counts the samples of one track.
struct SampleCount {
  std::uint64_t samples = 0;
  std::uint64_t empty = 0;
  std::uint64_t keyFrames = 0;
  /// Without the tags around the samples.
  std::uint64_t bytes = 0;
  std::uint64_t firstTime = 0;
  std::uint64_t lastTime = 0;

  void add(const ruvo::k2r::SampleInfo& info, const NQMessage& message) {
    if (samples == 0) firstTime = info.time;
    // The highest, since times of a tag stream may fall.
    lastTime = std::max(lastTime, info.time);
    ++samples;
    empty += info.empty ? 1 : 0;
    keyFrames += info.keyFrame ? 1 : 0;
    bytes += message.sampleSize();
  }
};

Json describeTrack(const K2RTrack& track) {
  Json document = {{"handler", toText(track.handlerType)},
                   {"format", Json()},
                   {"duration", track.duration},
                   {"timescale", track.timescale},
                   {"language", track.language},
                   {"width", Json()},
                   {"height", Json()},
                   {"sampleRate", Json()},
                   {"channels", Json()},
                   {"bitsPerSample", Json()}};
  if (track.sampleDescriptors.empty()) return document;
  const SampleDescInfo& info = *track.sampleDescriptors.front()->info;
  // 0 is a codec that has no code in segments.
  document["format"] = info.formatCode == 0 ? Json() : Json(toText(info.formatCode));
  if (const auto* const video = dynamic_cast<const VideoSampleDescInfo*>(&info)) {
    document["width"] = video->width;
    document["height"] = video->height;
  } else if (const auto* const audio = dynamic_cast<const AudioSampleDescInfo*>(&info)) {
    document["sampleRate"] = static_cast<std::uint32_t>(audio->sampleRate);
    document["channels"] = audio->channels;
    document["bitsPerSample"] = audio->bytesPerSample;
  }
  return document;
}

void addCount(const SampleCount& count, bool isVideo, Json& document) {
  document["samples"] = count.samples;
  if (isVideo) document["keyFrames"] = count.keyFrames;
  document["emptySamples"] = count.empty;
  document["sampleBytes"] = count.bytes;
  document["firstTime"] = count.samples == 0 ? Json() : Json(count.firstTime);
  document["lastTime"] = count.samples == 0 ? Json() : Json(count.lastTime);
}

/// Reads all samples. Returns the counts of audio, then of video.
std::array<SampleCount, 2> countSamples(MTGMediaSource& source) {
  std::array<SampleCount, 2> counts;
  std::unique_ptr<ISampleIterator> samples;
  source.getSamples(samples);
  while (samples->hasNext()) {
    ruvo::k2r::SampleInfo info;
    NQMessage message;
    samples->nextInfo(info);
    samples->currentMessage(message);
    counts.at(static_cast<std::size_t>(info.kind)).add(info, message);
  }
  return counts;
}

void describe(MTGMediaSource& source, Json& document) {
  const DocumentProperties properties = source.getDocumentProperties();
  document["duration"] = properties.duration;
  document["timescale"] = properties.timescale;
  const auto counts = countSamples(source);
  Json& tracks = document["tracks"] = Json::array();
  const std::unique_ptr<ITrackIterator> iterator(source.getTracks());
  while (iterator->hasNext()) {
    std::shared_ptr<K2RTrack> track;
    iterator->next(track);
    Json entry = describeTrack(*track);
    const bool isVideo = track->handlerType == "vide"_4cc;
    addCount(counts[isVideo ? 1 : 0], isVideo, entry);
    tracks.push_back(std::move(entry));
  }
}

}  // namespace

void describeTagStream(const std::string& path, Json& document) {
  try {
    Context context;
    MTGMediaSource source(context, path, ruvo::k2r::openFlagsFor(false, true));
    describe(source, document);
  } catch (const mtg::Exception& error) {
    throw CommandError(fmt::format("'{}' cannot be read: tag-stream error {}", path, error.status()));
  }
}

}  // namespace host
