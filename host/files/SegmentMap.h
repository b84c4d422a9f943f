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

/// A place at which the list of boxes is broken.
struct SegmentBreak {
  /// In bytes from the start of the file.
  std::uint64_t offset = 0;
  std::string reason;
};

/// The boxes of a segment file: `ftyp moov (afra abst moof mdat)* [free] [mfra]` (ISO/IEC 14496-12, 8.8, and the two of
/// the index and the bootstrap before each fragment).
struct SegmentMap {
  std::uint64_t fileSize = 0;
  std::optional<krvo::container::BoxSpan> ftyp;
  std::optional<krvo::container::BoxSpan> moov;
  /// In the order of the file. They do not overlap.
  std::vector<krvo::container::FragmentBoxes> fragments;
  /// The boxes after the last fragment, or after `moov` if there is none.
  std::vector<krvo::container::BoxSpan> tail;
  /// The places where the list is broken. After each, the map continues at the next known fragment.
  std::vector<SegmentBreak> breaks;

  /// The fragment that begins at that offset, or null. A view.
  const krvo::container::FragmentBoxes* fragmentAt(std::uint64_t position) const;
  /// The `mfra`, or null. A view.
  const krvo::container::BoxSpan* randomAccess() const;
};

/// Maps a segment by the headers of its boxes. `known` has positions of fragments from an index. If there is an `afra`
/// box at such a position, no box before it may reach beyond it, and the map continues there after a broken place.
/// Throws only what reading throws at the known positions; all other faults are in `breaks`. Reads no payload, so it
/// takes little time and memory for a file of any size.
SegmentMap mapSegment(FileView& file, const std::set<std::uint64_t>& known = {});

}  // namespace host
