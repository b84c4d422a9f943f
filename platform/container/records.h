#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>

#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/status.h"

namespace krvo::container {

// The caller's records into the movie and back. Everything that takes a record throws StatusError(kKrvoBadArgument) for
// one that is null, has the wrong size or holds a value that means nothing.

/// The size field of a record; the forms of a descriptor have theirs in the plain one.
template <typename Record>
auto& sizeField(Record& record) {
  if constexpr (requires { record.base; }) {
    return record.base.size;
  } else {
    return record.size;
  }
}

template <typename Record>
Record& checked(Record* record) {
  require(record != nullptr && sizeField(*record) == sizeof(Record));
  return *record;
}

Movie makeMovie(const K2MDocInfo& info);
/// A track of the record's handler type, without id and descriptions.
std::shared_ptr<Track> makeTrack(const K2MTrackInfo& info, const char* name);
/// Width and height stop at 65535, where the entry does.
SampleDescription makeDescription(const K2MVideoDescriptorInfo& info);
SampleDescription makeDescription(const K2MAudioDescriptorInfo& info);
SampleDescription makeDescription(const K2MRtmpDescriptorInfo& info);
SampleDescription makeDescription(const K2MDescriptorInfo& info);

K2MTrackInfo trackInfo(const Track& track);
/// 1, 1000 and the length of the first description's codec header: files have no place for these numbers.
K2MEntriesInfo entriesInfo(const Track& track);
/// The plain form; `handler` is that of the track.
K2MDescriptorInfo descriptorInfo(const SampleDescription& description, FourCC handler);
K2MVideoDescriptorInfo videoDescriptorInfo(const SampleDescription& description);
K2MAudioDescriptorInfo audioDescriptorInfo(const SampleDescription& description);
K2MRtmpDescriptorInfo rtmpDescriptorInfo(const SampleDescription& description);
/// Of a sample of `track`.
K2MSampleInfo sampleInfo(const Track& track, const StoredSample& sample);

}  // namespace krvo::container
