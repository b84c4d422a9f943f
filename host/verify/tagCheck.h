#pragma once

#include <vector>

#include "host/verify/FragmentCheck.h"

namespace host {

// Of fields in a tag.
inline constexpr std::uint64_t kTagTimeOffset = 4;
inline constexpr std::uint64_t kTagStreamIdOffset = 8;

/// The samples of the hint track, which are the tags; none where they are not told.
std::vector<krvo::container::StoredSample> hintSamples(const SegmentContext& segment, const FragmentContent& content);

/// Goes from tag to tag through an `mdat`. Where a tag's header and the sample of it (`told`) differ in its size, the
/// back pointer tells which of the two is right, and the walk goes on by that.
std::vector<TagContent> checkTags(const SegmentContext& segment, const krvo::container::BoxSpan& mdat,
                                  const std::vector<krvo::container::StoredSample>& told);

/// Each tag of a known kind, with its fixed fields, and configurations as their track has them.
void checkTagContents(const SegmentContext& segment, const std::vector<TagContent>& tags);

/// Tags in the order of time.
void checkTagOrder(const SegmentContext& segment, const std::vector<TagContent>& tags);

}  // namespace host
