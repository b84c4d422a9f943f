#include "host/inspect/describeSegment.h"

#include <algorithm>
#include <optional>

#include "host/files/Malformed.h"
#include "host/files/SegmentMap.h"
#include "host/files/smallFiles.h"
#include "host/files/tracks.h"
#include "host/inspect/describeProtection.h"
#include "host/inspect/describeSmallFiles.h"
#include "host/inspect/scriptJson.h"
#include "platform/container/reading/SegmentError.h"
#include "platform/container/reading/SegmentReader.h"
#include "util/fourcc.h"

namespace host {

using namespace krvo::container;
using qvs::util::toText;

namespace {

/// Only the first description is shown: the recorder makes one for each track.
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
                   {"codecHeaderBytes", 0},
                   {"protection", Json()}};
  if (track.descriptions.empty()) return document;
  const SampleDescription& description = *track.descriptions.front();
  document["format"] = toText(description.formatCode);
  document["codecHeaderBytes"] = description.codecHeader.size();
  document["protection"] = describeProtection(description);
  if (const auto* const video = std::get_if<VideoFormat>(&description.format)) {
    document["width"] = video->width;
    document["height"] = video->height;
  } else if (const auto* const audio = std::get_if<AudioFormat>(&description.format)) {
    document["sampleRate"] = static_cast<std::uint32_t>(audio->sampleRate);
    document["channels"] = audio->channels;
  }
  return document;
}

/// The number of samples that a track has in a fragment.
std::uint64_t sampleCount(const Fragment& fragment, const Track* track) {
  if (track == nullptr) return 0;
  const auto own = std::find_if(fragment.tracks.begin(), fragment.tracks.end(),
                                [track](const TrackFragment& part) { return part.trackId == track->id; });
  return own == fragment.tracks.end() ? 0 : own->samples.size();
}

/// Compared with all bits of the type byte: the data of a protected tag cannot be read.
std::optional<qvs::MessageKind> scriptKind(const StoredTag& tag) {
  const auto kind = static_cast<qvs::MessageKind>(tag.rawType);
  const bool isScript = kind == qvs::MessageKind::kData || kind == qvs::MessageKind::kDataEx;
  return isScript ? std::optional(kind) : std::nullopt;
}

/// Adds those tags of a fragment that have script data.
void addScriptData(FileView& file, std::span<const StoredTag> tags, Json& list) {
  for (const StoredTag& tag : tags) {
    const auto kind = scriptKind(tag);
    if (!kind) continue;
    std::vector<std::byte> payload(tag.dataSize);
    file.read(tag.dataOffset(), payload);
    Json entry = {{"position", tag.offset}, {"time", tag.timestamp}, {"type", tag.rawType}};
    try {
      entry.update(describeScript(payload, *kind));
    } catch (const Malformed& error) {
      // One malformed message must not hide the fragments after it.
      entry["unreadable"] = error.what();
    }
    list.push_back(std::move(entry));
  }
}

/// `scriptData` gets the script data of the fragment; they are listed for the whole segment, since few fragments have
/// any.
Json describeFragment(SegmentReader& reader, FileView& file, const FragmentBoxes& boxes, Json& scriptData) {
  const Fragment fragment = reader.readFragment(boxes.position());
  const std::vector<StoredTag> tags = reader.readTags(fragment);
  addScriptData(file, tags, scriptData);
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
  document["fragments"] = Json::array();
  document["scriptData"] = Json::array();
  // References only now: adding a key to the document invalidates them.
  Json& fragments = document["fragments"];
  Json& scriptData = document["scriptData"];
  for (const FragmentBoxes& boxes : map.fragments)
    fragments.push_back(describeFragment(reader, file, boxes, scriptData));

  Json& tail = document["behindFragments"] = Json::array();
  for (const BoxSpan& box : map.tail) {
    tail.push_back({{"type", toText(box.type)}, {"offset", box.offset}, {"size", box.size}});
  }
  if (const BoxSpan* const mfra = map.randomAccess())
    document["accessTable"] = describeTable(reader.readRandomAccess(*mfra));
  // At the end, so that the document has everything that could be read.
  if (!map.breaks.empty()) throw SegmentError(map.breaks.front().offset, map.breaks.front().reason);
}

}  // namespace host
