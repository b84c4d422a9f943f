#pragma once

#include <vector>

#include "host/verify/FragmentCheck.h"

namespace host {

// Offsets of fields in a tag, in bytes.
inline constexpr std::uint64_t kTagTimeOffset = 4;
inline constexpr std::uint64_t kTagStreamIdOffset = 8;

/// The samples of the hint track. Each is a whole tag. None if the track or the `moof` could not be read.
std::vector<krvo::container::StoredSample> hintSamples(const SegmentContext& segment, const FragmentContent& content);

/// Reads the tags of an `mdat`, one after another. If the header of a tag and its hint sample disagree on the size, the
/// back pointer decides which one is right, and the next tag is looked for after that size.
std::vector<TagContent> checkTags(const SegmentContext& segment, const krvo::container::BoxSpan& mdat,
                                  const std::vector<krvo::container::StoredSample>& hints);

/// Checks that each tag is of a known kind and has its fixed fields, and that each configuration is that of its track.
void checkTagContents(const SegmentContext& segment, const std::vector<TagContent>& tags);

/// Checks that the times of tags do not fall. Equal times are allowed: the recorder lifts a time that falls to the one
/// before.
void checkTagOrder(const SegmentContext& segment, const std::vector<TagContent>& tags);

}  // namespace host
