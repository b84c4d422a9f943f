#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/plain/PlainPlace.h"
#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/Source.h"

namespace host {

/// A fragment as players get it: a new `moof`, and an `mdat` with the bytes of the segment file. The parameter sets are
/// inserted before each AVC key frame that has none, because players miss a changed configuration in a second header.
///
///     moof  mfhd, and for each media track with samples a traf: tfhd, tfdt, trun (ISO/IEC 14496-12, 8.8.4 to 8.8.12)
///     mdat  the samples without the tags around them
struct PlainFragment {
  /// A span of bytes in the segment file.
  struct Span {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
  };

  /// The `moof` and the header of the `mdat`.
  std::vector<std::byte> boxes;
  /// The content of the `mdat`: these spans, with `inserted` between each two of them. Never empty.
  std::vector<Span> spans;
  std::vector<std::byte> inserted;

  /// Bytes of `boxes` and content together.
  std::uint64_t size() const;
};

/// Whether the fragment has samples in the tracks of the view. A fragment without any is not part of it.
bool hasPlainSamples(const krvo::container::Fragment& fragment, const krvo::container::Movie& movie);

/// Makes the plain form of `fragment`, which SegmentReader has read from `source`, a segment with the tracks of
/// `movie`. The result refers to the file by offsets only. Throws SegmentError if the file cannot be read, and
/// MalformedInput or std::out_of_range for malformed boxes.
PlainFragment makePlainFragment(krvo::container::Source& source, const krvo::container::Movie& movie,
                                const krvo::container::Fragment& fragment, const PlainPlace& place);

}  // namespace host
