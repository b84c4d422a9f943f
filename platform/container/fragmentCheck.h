#pragma once

#include <vector>

#include "platform/container/Fragment.h"
#include "platform/container/Movie.h"
#include "platform/container/SegmentError.h"

namespace krvo::container {

/// What contradicts what in a fragment whose boxes are well-formed, each with its place; empty where all is right. The
/// samples of the hint track are the tags, one by one; those of the other tracks lie in the data of a tag each, forward
/// in the file; entries of `afra` lead to a tag.
std::vector<SegmentError> checkFragment(const Fragment& fragment, const std::vector<StoredTag>& tags,
                                        const Movie& movie);

/// What a fragment contradicts in the one before it: its sequence number is the next one, and no track goes back behind
/// the last sample that it had there; the hint track, whose tags need not be in the order of their times, not behind
/// its first.
std::vector<SegmentError> checkSequence(const Fragment& before, const Fragment& after, const Movie& movie);

}  // namespace krvo::container
