#pragma once

#include <vector>

#include "host/verify/FragmentCheck.h"

namespace host {

/// A sample as a tag makes it.
struct ExpectedSample {
  /// Timestamp of the tag.
  std::uint32_t timestamp = 0;
  std::uint64_t offset = 0;
  std::uint32_t size = 0;
  std::int32_t compositionOffset = 0;
  bool sync = false;
};

/// The samples that the tags of a fragment make in a track, in their order.
std::vector<ExpectedSample> expectSamples(const krvo::container::Track& track, const std::vector<TagContent>& tags);

/// Reports a tag whose time disagrees with the samples in front of it and behind it, which agree with each other, and
/// gives it the time that they tell.
void correctTagTimes(const SegmentContext& segment, const std::vector<krvo::container::StoredSample>& told,
                     std::vector<TagContent>& tags);

/// Holds the samples of each track in the `moof`, which has been read, against those that the tags make.
void checkSamples(SegmentContext& segment, const FragmentContent& content);

}  // namespace host
