#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "platform/container/reading/Movie.h"
#include "platform/container/reading/Source.h"

namespace host {

/// Whether the track is in the plain view: video and audio are. The hint track is not, because players cannot handle
/// that its samples overlap those of the other tracks.
bool isInPlainView(const krvo::container::Track& track);

/// The track of that id if it is in the plain view, or null. A view of the movie.
const krvo::container::Track* presentedTrack(const krvo::container::Movie& movie, std::uint32_t id);

/// Makes the header of the plain view: `ftyp` unchanged, and `moov` with the tracks of the view only and without dates,
/// so that all segments, and all recordings, of the same configuration have the same header. `header` is the beginning
/// of a segment file with both boxes. Throws MalformedInput for malformed boxes.
std::vector<std::byte> plainHeader(std::span<const std::byte> header);

/// The same for the first `size` bytes of a segment file. Throws also what `file` throws.
std::vector<std::byte> readPlainHeader(krvo::container::Source& file, std::uint64_t size);

/// `init-<hash of the bytes>.mp4`. A hash and no number, so that a player that caches by name never gets the header of
/// another configuration.
std::string plainHeaderName(std::span<const std::byte> header);

/// The parameter sets of an AVC track, each after its length, as in a sample (ISO/IEC 14496-15, 5.3.4). Empty for other
/// tracks, and if the configuration is malformed: the view then has the samples as they are.
std::vector<std::byte> parameterSets(const krvo::container::Track& track);

/// Bytes of the length before each NAL unit of an AVC track: 1, 2 or 4. 0 for other tracks.
std::size_t nalLengthSize(const krvo::container::Track& track);

}  // namespace host
