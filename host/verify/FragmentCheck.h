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
#include "platform/container/Fragment.h"
#include "platform/container/Movie.h"

namespace host {

/// What the fragments of a segment share.
struct SegmentContext {
  FileView& file;
  FileFindings out;
  krvo::container::Movie movie;
  BaseTimes& bases;
  /// By track id: the decode time of the track's last sample in the fragment before. Nothing if that cannot be known.
  std::optional<std::map<std::uint32_t, std::uint64_t>> lastTimes = {};
};

/// A fragment, as far as its boxes can be read.
struct FragmentContent {
  krvo::container::FragmentBoxes boxes;
  std::optional<ruvo::k2r::BootstrapInfo> bootstrap;
  std::optional<std::uint32_t> sequenceNumber;
  /// The samples of its `moof`.
  std::optional<std::vector<krvo::container::TrackFragment>> tracks;
  /// Those in front of the first one that cannot be read.
  std::vector<TagContent> tags;
};

/// Checks one fragment on its own: each box well formed, the tags one behind another, the samples of all tracks those
/// that the tags make, the entries of `afra` at the right tags.
FragmentContent checkFragment(SegmentContext& segment, const krvo::container::FragmentBoxes& boxes);

}  // namespace host
