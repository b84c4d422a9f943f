#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/container/Fragment.h"
#include "platform/container/Movie.h"
#include "platform/container/RandomAccessTable.h"
#include "platform/container/Source.h"
#include "platform/container/boxes.h"

namespace krvo::container {

/// Reads a segment file: what it says of itself, the boxes at its top level, and each fragment with its samples and
/// tags. Takes the small boxes into memory, one fragment at a time, and of an `mdat` no more than the tag headers.
///
///     for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end()))
///       if (box->type == "afra"_4cc) use(reader.readFragment(box->offset));
///
/// Every operation throws SegmentError for what is not of its form; the reader stays usable. `source` outlives it.
class SegmentReader {
 public:
  /// Reads `ftyp` and `moov`, which come first.
  explicit SegmentReader(Source& source);

  /// The file as a whole, its tracks and their sample descriptions.
  const Movie& movie() const { return movie_; }

  /// The box that ends the header.
  const BoxSpan& moov() const { return moov_; }
  /// Behind it, where the first fragment begins.
  std::uint64_t firstFragment() const { return moov_.end(); }
  /// The box at the top level that begins at `offset`; none at the end of the file.
  std::optional<BoxSpan> boxAt(std::uint64_t offset);

  /// The fragment whose `afra` begins at `position`.
  Fragment readFragment(std::uint64_t position);
  /// Its tags, in the order of the file.
  std::vector<StoredTag> readTags(const Fragment& fragment);
  /// The entries of an `mfra`.
  RandomAccessTable readRandomAccess(const BoxSpan& mfra);

 private:
  Source& source_;
  Movie movie_;
  BoxSpan moov_;
};

}  // namespace krvo::container
