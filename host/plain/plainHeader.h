#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "platform/container/reading/Movie.h"

namespace host {

/// Whether the plain view of a segment has this track: pictures and sound. Players stumble over the hint track, whose
/// samples overlap those of the others.
bool isInPlainView(const krvo::container::Track& track);

/// The header of a plain view: `ftyp` as it is, and `moov` with the tracks of the view only, without dates, so that all
/// segments and recordings of one configuration have the same header. `header` is the beginning of a segment file, both
/// boxes. Throws MalformedInput if it is not of that form.
std::vector<std::byte> plainHeader(std::span<const std::byte> header);

/// The parameter sets of an AVC track, each behind its length as in a sample (ISO/IEC 14496-15, 5.3.4). Empty for other
/// tracks, and where the configuration is malformed.
std::vector<std::byte> parameterSets(const krvo::container::Track& track);

/// Bytes of the length in front of each NAL unit of an AVC track: 1, 2 or 4; 0 for other tracks.
std::size_t nalLengthSize(const krvo::container::Track& track);

}  // namespace host
