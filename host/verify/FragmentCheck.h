#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "fragmentation/BootstrapInfo.h"
#include "host/files/FileView.h"
#include "host/files/TagContent.h"
#include "host/verify/BaseTimes.h"
#include "host/verify/Findings.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"

namespace host {

/// What the checks of all fragments of a segment share. `file` and `bases` outlive it. Made anew for each segment,
/// except `bases`.
struct SegmentContext {
  FileView& file;
  FileFindings out;
  /// From the `moov`; without tracks if that cannot be read, and then samples are not checked.
  krvo::container::Movie movie;
  BaseTimes& bases;
  /// By track id: the decode time, in ms, of the track's last sample in the previous fragment. Nothing if that fragment
  /// was not read.
  std::optional<std::map<std::uint32_t, std::uint64_t>> lastTimes = {};
};

/// The content of a fragment, as far as its boxes can be read.
struct FragmentContent {
  krvo::container::FragmentBoxes boxes;
  std::optional<ruvo::k2r::BootstrapInfo> bootstrap;
  std::optional<std::uint32_t> sequenceNumber;
  /// The samples that its `moof` lists.
  std::optional<std::vector<krvo::container::TrackFragment>> tracks;
  /// The tags in its `mdat`, up to the first one that cannot be read.
  std::vector<TagContent> tags;
};

/// Checks one fragment by itself: each box is well formed, the tags are contiguous, each track has exactly the samples
/// that the tags produce, and the entries of `afra` point to the right tags. Updates `segment.lastTimes`. Never throws
/// for what is in the file: each fault is a finding in `segment.out`, and what cannot be read is missing in the result.
/// Throws what reading the file throws.
FragmentContent checkFragment(SegmentContext& segment, const krvo::container::FragmentBoxes& boxes);

}  // namespace host
