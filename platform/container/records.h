#pragma once

#include <memory>

#include "platform/container/krvo_k2m.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/status.h"

namespace krvo::container {

// Conversion between the caller's records and the movie. Every function that takes a record throws
// StatusError(kKrvoBadArgument) for a null pointer, a wrong size or a meaningless value.

/// The size field of a record. The longer forms of a descriptor have it in their plain part.
template <typename Record>
auto& sizeField(Record& record) {
  if constexpr (requires { record.base; }) {
    return record.base.size;
  } else {
    return record.size;
  }
}

/// The record, if it is complete: its size shows which version of the header the caller was built with.
template <typename Record>
Record& checked(Record* record) {
  require(record != nullptr && sizeField(*record) == sizeof(Record));
  return *record;
}

/// A movie without tracks. Throws for a timescale of 0, which players divide by.
Movie makeMovie(const K2MDocInfo& info);
/// A track of the record's handler type, without id and descriptions. `name` may be null. An empty language becomes
/// "und".
std::shared_ptr<Track> makeTrack(const K2MTrackInfo& info, const char* name);
/// Width and height above 65535 become 65535, the largest value of the entry's field.
SampleDescription makeDescription(const K2MVideoDescriptorInfo& info);
SampleDescription makeDescription(const K2MAudioDescriptorInfo& info);
SampleDescription makeDescription(const K2MRtmpDescriptorInfo& info);
SampleDescription makeDescription(const K2MDescriptorInfo& info);

/// Dates after the year 9999 become its last second, so a damaged header cannot make this fail.
K2MTrackInfo trackInfo(const Track& track);
/// 1, 1000 and the length of the first description's codec header: files have no field for these numbers.
K2MEntriesInfo entriesInfo(const Track& track);
/// The plain form. `handler` is the handler type of the track.
K2MDescriptorInfo descriptorInfo(const SampleDescription& description, FourCC handler);
/// Each throws StatusError(kKrvoBadArgument) for a description of another kind.
K2MVideoDescriptorInfo videoDescriptorInfo(const SampleDescription& description);
K2MAudioDescriptorInfo audioDescriptorInfo(const SampleDescription& description);
K2MRtmpDescriptorInfo rtmpDescriptorInfo(const SampleDescription& description);
/// `sample` is one of `track`.
K2MSampleInfo sampleInfo(const Track& track, const StoredSample& sample);

}  // namespace krvo::container
