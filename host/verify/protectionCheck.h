#pragma once

#include <cstdint>

#include "host/verify/FragmentCheck.h"
#include "host/verify/SegmentCheck.h"
#include "platform/container/Movie.h"

namespace host {

/// Of the tracks of a segment, all media tracks are protected or none; each has its `sinf` as a recorder writes it, all
/// with the same metadata. `moov` is the place to name.
void checkProtectedTracks(const krvo::container::Movie& movie, std::uint64_t moov, const FileFindings& out);

/// The filter in front of the sample of a protected tag, as a recorder writes it.
void checkTagFilter(const SegmentContext& segment, const TagContent& tag);

/// The `.drmmeta` file of a protected recording, which is there, and the metadata in it and in the tracks: signed, and
/// not changed since. An append makes the file anew, so that the two need not be the same.
void checkMetadata(const RecordingContext& recording);

}  // namespace host
