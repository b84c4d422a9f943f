#pragma once

#include <vector>

#include "host/verify/FragmentCheck.h"

namespace host {

/// A sample as it follows from a tag.
struct ExpectedSample {
  /// Timestamp of the tag, in ms.
  std::uint32_t timestamp = 0;
  /// In the file; of the sample's data in a media track, of the whole tag in the hint track.
  std::uint64_t offset = 0;
  std::uint32_t size = 0;
  std::int32_t compositionOffset = 0;
  bool sync = false;
};

/// The samples of `track` that follow from the tags of a fragment, in the order of the tags. Tags that are only a codec
/// header produce none in a media track.
std::vector<ExpectedSample> expectSamples(const krvo::container::Track& track, const std::vector<TagContent>& tags);

/// Reports and corrects the time of a tag if the tags before and after it agree with their hint samples (`hints`) on
/// one base time, and this one does not.
void correctTagTimes(const SegmentContext& segment, const std::vector<krvo::container::StoredSample>& hints,
                     std::vector<TagContent>& tags);

/// Compares the samples of each track in the `moof` with those that follow from the tags. `content.tracks` must be
/// there.
void checkSamples(SegmentContext& segment, const FragmentContent& content);

}  // namespace host
