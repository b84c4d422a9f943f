#pragma once

#include <cstdint>

#include "host/verify/FragmentCheck.h"
#include "host/verify/SegmentCheck.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// Checks that all media tracks of a segment are protected or none is, and that each protected one has a `sinf`
/// (ISO/IEC 14496-12, 8.12.1) as a recorder writes it, all with the same metadata. `moov` is the offset for the
/// findings.
void checkProtectedTracks(const krvo::container::Movie& movie, std::uint64_t moov, const FileFindings& out);

/// Checks the filter before the sample of a protected tag. It says whether the sample is encrypted, and has the
/// initialisation vector. The key is not needed, and nothing is decrypted.
void checkTagFilter(const SegmentContext& segment, const TagContent& tag);

/// Checks the signatures of the metadata in `.drmmeta`, which exists, and in the tracks. The two may differ: an append
/// writes a new file, and the tracks keep what the first recorder wrote. What cannot be checked without the license
/// server's key is left out: the content key itself.
void checkMetadata(const RecordingContext& recording);

}  // namespace host
