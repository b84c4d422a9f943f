#include "host/inspect/describeSegment.h"

#include <algorithm>
#include <optional>

#include "host/files/SegmentMap.h"
#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "host/inspect/describeSmallFiles.h"
#include "platform/container/SegmentError.h"
#include "platform/container/SegmentReader.h"
#include "util/fourcc.h"

namespace host {

using namespace krvo::container;
using qvs::util::toText;

namespace {

Json describeTrack(const Track& track) {
  Json document = {{"id", track.id},
                   {"handler", toText(track.handler)},
                   {"format", Json()},
                   {"clearFormat", toText(clearFormat(track))},
                   {"timescale", track.timescale},
                   {"language", std::string(track.language.begin(), track.language.end())},
                   {"width", Json()},
                   {"height", Json()},
                   {"sampleRate", Json()},
                   {"channels", Json()},
                   {"codecHeaderBytes", 0}};
  if (track.descriptions.empty()) return document;
  const SampleDescription& description = *track.descriptions.front();
  document["format"] = toText(description.formatCode);
  document["codecHeaderBytes"] = description.codecHeader.size();
  if (const auto* const video = std::get_if<VideoFormat>(&description.format)) {
    document["width"] = video->width;
    document["height"] = video->height;
  } else if (const auto* const audio = std::get_if<AudioFormat>(&description.format)) {
    document["sampleRate"] = static_cast<std::uint32_t>(audio->sampleRate);
    document["channels"] = audio->channels;
  }
  return document;
}

/// How many samples a track has in a fragment.
std::uint64_t sampleCount(const Fragment& fragment, const Track* track) {
  if (track == nullptr) return 0;
  const auto own = std::find_if(fragment.tracks.begin(), fragment.tracks.end(),
                                [track](const TrackFragment& part) { return part.trackId == track->id; });
  return own == fragment.tracks.end() ? 0 : own->samples.size();
}

Json describeFragment(SegmentReader& reader, FileView& file, const FragmentBoxes& boxes) {
  const Fragment fragment = reader.readFragment(boxes.position());
  const std::vector<StoredTag> tags = reader.readTags(fragment);
  const Movie& movie = reader.movie();
  const auto bootstrap = parseBootstrap(loadBox(file, boxes.abst), boxes.abst.offset);
  const auto afra = parseAfra(loadBox(file, boxes.afra), boxes.afra.offset);
  return {{"position", boxes.position()},
          {"size", boxes.size()},
          {"sequenceNumber", fragment.sequenceNumber},
          {"firstTagTime", tags.empty() ? Json() : Json(tags.front().timestamp)},
          {"lastTagTime", tags.empty() ? Json() : Json(tags.back().timestamp)},
          {"tags", tags.size()},
          {"videoSamples", sampleCount(fragment, findTrack(movie, "vide"_4cc))},
          {"audioSamples", sampleCount(fragment, findTrack(movie, "soun"_4cc))},
          {"dataSamples", sampleCount(fragment, findTrack(movie, "meta"_4cc))},
          {"bootstrapVersion", bootstrap.bootstrapVersion},
          {"currentMediaTime", bootstrap.currentMediaTime},
          {"randomAccess", describeAccessEntries(afra)}};
}

Json describeTable(const RandomAccessTable& table) {
  Json entries = Json::array();
  for (const auto& entry : table.entries()) {
    entries.push_back({{"track", entry.trackId},
                       {"time", entry.time},
                       {"moofOffset", entry.moofOffset},
                       {"traf", entry.trafNumber},
                       {"trun", entry.trunNumber},
                       {"sample", entry.sampleNumber}});
  }
  return entries;
}

}  // namespace

void describeSegment(FileView& file, Json& document) {
  SegmentReader reader(file);
  document["tracks"] = Json::array();
  for (const auto& track : reader.movie().tracks) document["tracks"].push_back(describeTrack(*track));

  const SegmentMap map = mapSegment(file);
  document["fragmentCount"] = map.fragments.size();
  Json& fragments = document["fragments"] = Json::array();
  for (const FragmentBoxes& boxes : map.fragments) fragments.push_back(describeFragment(reader, file, boxes));

  Json& tail = document["behindFragments"] = Json::array();
  for (const BoxSpan& box : map.tail) {
    tail.push_back({{"type", toText(box.type)}, {"offset", box.offset}, {"size", box.size}});
  }
  if (const BoxSpan* const mfra = map.randomAccess())
    document["accessTable"] = describeTable(reader.readRandomAccess(*mfra));
  if (!map.breaks.empty()) throw SegmentError(map.breaks.front().offset, map.breaks.front().reason);
}

}  // namespace host
