#pragma once

#include "platform/container/reading/Movie.h"

namespace host {

/// The code of a track's samples once they are clear again: that of its first sample entry, or the one that its `sinf`
/// keeps (ISO/IEC 14496-12, 8.12).
qvs::util::FourCC clearFormat(const krvo::container::Track& track);
/// The track says that its samples are protected.
bool isProtected(const krvo::container::Track& track);
/// Any of the tracks does.
bool hasProtectedTrack(const krvo::container::Movie& movie);

/// The track of this handler type, or null. A view of the movie.
const krvo::container::Track* findTrack(const krvo::container::Movie& movie, qvs::util::FourCC handler);

}  // namespace host
