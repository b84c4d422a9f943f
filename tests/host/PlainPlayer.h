#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <vector>

#include "host/plain/TrackRun.h"
#include "util/box.h"

namespace test {

/// What a track has to play.
struct Played {
  /// Milliseconds.
  std::uint64_t startMs = 0;
  std::uint64_t endMs = 0;
  /// The samples of all fragments, one after another.
  std::vector<std::vector<std::byte>> samples;
  /// Places where the time of a fragment is not that at which the one before it ends.
  int breaks = 0;
};

/// Plays the fragments as a player does, by nothing but their boxes; by the ids of tracks.
inline std::map<std::uint32_t, Played> playFragments(const std::vector<std::vector<std::byte>>& fragments) {
  using namespace qvs::util;
  using host::TrackRun;
  std::map<std::uint32_t, Played> tracks;
  Played* track = nullptr;
  host::SampleDefaults defaults;
  const auto addRun = [&](const TrackRun& run, ByteReader fragment) {
    fragment.skip(static_cast<std::uint64_t>(run.dataOffset()));
    for (std::size_t i = 0; i < run.count(); ++i) {
      const auto sample = fragment.bytes(run.size(i));
      track->samples.emplace_back(sample.begin(), sample.end());
      track->endMs += run.duration(i);
    }
  };
  const std::function<void(ByteReader, ByteReader)> playBoxes = [&](ByteReader boxes, ByteReader fragment) {
    while (boxes.remaining() > 0) {
      BoxView box = nextBox(boxes);
      if (box.type == "moof"_4cc || box.type == "traf"_4cc) playBoxes(box.payload, fragment);
      if (box.type == "trun"_4cc) addRun(TrackRun(box.payload, defaults), fragment);
      if (box.type == "tfhd"_4cc) {
        const std::uint32_t flags = readVersionAndFlags(box.payload).flags;
        track = &tracks[box.payload.u32()];
        defaults.duration = (flags & 0x8) != 0 ? box.payload.u32() : 0;
        defaults.size = (flags & 0x10) != 0 ? box.payload.u32() : 0;
      } else if (box.type == "tfdt"_4cc) {
        readVersionAndFlags(box.payload);
        const std::uint64_t time = box.payload.u64();
        if (track->samples.empty()) track->startMs = time;
        if (!track->samples.empty() && time != track->endMs) ++track->breaks;
        track->endMs = time;
      }
    }
  };
  for (const auto& fragment : fragments) playBoxes(ByteReader(fragment), ByteReader(fragment));
  return tracks;
}

}  // namespace test
