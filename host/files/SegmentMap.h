#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "host/files/FileView.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/boxes.h"

namespace host {

/// Where something is that is no part of the list of boxes.
struct SegmentBreak {
  std::uint64_t offset = 0;
  std::string reason;
};

/// The boxes of a segment file: `ftyp moov (afra abst moof mdat)* [free] [mfra]`.
struct SegmentMap {
  std::uint64_t fileSize = 0;
  std::optional<krvo::container::BoxSpan> ftyp;
  std::optional<krvo::container::BoxSpan> moov;
  /// In the order of the file; none begins before the one in front of it ends.
  std::vector<krvo::container::FragmentBoxes> fragments;
  /// Behind the last fragment, or `moov`.
  std::vector<krvo::container::BoxSpan> tail;
  /// One for each place where the list does not go on as it should; the map goes on at the next known fragment.
  std::vector<SegmentBreak> breaks;

  const krvo::container::FragmentBoxes* fragmentAt(std::uint64_t position) const;
  const krvo::container::BoxSpan* randomAccess() const;
};

/// Goes from box to box, reading headers only. `known` are positions that an index gives: where one of them has an
/// `afra` box, no box in front of it may reach beyond it, and the map goes on there when it has lost its way.
SegmentMap mapSegment(FileView& file, const std::set<std::uint64_t>& known = {});

}  // namespace host
