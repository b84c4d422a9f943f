#pragma once

#include "platform/container/reading/Movie.h"

namespace host {

/// The format code of a track's samples without protection: that of its first sample entry, or for a protected track
/// the one in its `sinf` (ISO/IEC 14496-12, 8.12.2). 0 if it has no sample entry.
qvs::util::FourCC clearFormat(const krvo::container::Track& track);
/// Whether the sample entry says that the samples are protected. By its format code: `encv`, `enca` and the like. A
/// damaged `sinf` does not make a track clear.
bool isProtected(const krvo::container::Track& track);
/// Whether any track is protected.
bool hasProtectedTrack(const krvo::container::Movie& movie);

/// The first track of that handler type (ISO/IEC 14496-12, 8.4.3), or null. A view of the movie. A recording has one of
/// each type at most; a foreign file may have more.
const krvo::container::Track* findTrack(const krvo::container::Movie& movie, qvs::util::FourCC handler);

}  // namespace host
