#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <vector>

#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/Source.h"

namespace host {

/// Where a fragment stands in a plain view.
struct PlainPlace {
  /// A running number over the whole view.
  std::uint32_t sequenceNumber = 1;
  /// Milliseconds that its decode times in the view lie before those in the recording: the gaps so far.
  std::int64_t shiftMs = 0;
  /// By track id: the decode time in the recording at which the track goes on in the next fragment, in the track's
  /// timescale. In the view the last sample of the track lasts until then, over a gap, too, so that players see one
  /// stretch. A track that is not in here keeps the duration it has.
  std::map<std::uint32_t, std::uint64_t> nextDecodeTimes = {};
  /// `shiftMs` of the next fragment.
  std::int64_t nextShiftMs = 0;
};

/// A fragment as players get it: a `moof` that is made anew, and the stored `mdat` with the bytes of the file. In front
/// of each AVC key frame that has none stand the parameter sets, so that players follow a change of configuration that
/// they would miss in the header.
struct PlainFragment {
  /// A stretch of the segment file.
  struct Stretch {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
  };

  /// The `moof` and the header of the `mdat`.
  std::vector<std::byte> boxes;
  /// What is in the `mdat`: these stretches, with `inserted` between each two of them.
  std::vector<Stretch> stretches;
  std::vector<std::byte> inserted;

  /// Bytes in all.
  std::uint64_t size() const;
};

/// Whether a fragment has samples of the view; one that has none is no part of it.
bool hasPlainSamples(const krvo::container::Fragment& fragment, const krvo::container::Movie& movie);

/// Makes the plain form of `fragment`, which was read from `source`, a segment with the tracks of `movie`. Throws
/// SegmentError if the file cannot be read, and MalformedInput or std::out_of_range for boxes that are not of their
/// form.
PlainFragment makePlainFragment(krvo::container::Source& source, const krvo::container::Movie& movie,
                                const krvo::container::Fragment& fragment, const PlainPlace& place);

}  // namespace host
