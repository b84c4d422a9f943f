#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/RandomAccessTable.h"
#include "platform/container/reading/Source.h"
#include "platform/container/reading/boxes.h"

namespace krvo::container {

/// Reads a segment file: its header, the boxes at its top level, and each fragment with its samples and tags. One
/// fragment at a time is in memory, without its `mdat`, of which only tag headers are read.
///
///     for (auto box = reader.boxAt(reader.firstFragment()); box; box = reader.boxAt(box->end()))
///       if (box->type == "afra"_4cc) use(reader.readFragment(box->offset));
///
/// Belongs to one thread. `source` outlives the reader. Every operation throws SegmentError for what is malformed, and
/// what `source` throws; the reader stays usable.
class SegmentReader {
 public:
  /// Reads `ftyp` and `moov`, which are the first two boxes.
  explicit SegmentReader(Source& source);

  /// The content of the `moov`.
  const Movie& movie() const { return movie_; }

  /// The last box of the header.
  const BoxSpan& moov() const { return moov_; }
  /// Offset of the first byte after the header, where the first fragment begins.
  std::uint64_t firstFragment() const { return moov_.end(); }
  /// The box that begins at `offset`, the border of a box at the top level. Nothing at the end of the file. A size of 0
  /// reaches to the end of the file, so that box is the last one.
  std::optional<BoxSpan> boxAt(std::uint64_t offset);

  /// The fragment whose `afra` begins at `position`. Throws also for a sample outside the `mdat`, and for one of a
  /// track that the `moov` does not have.
  Fragment readFragment(std::uint64_t position);
  /// Its tags, in the order of the file. Reads 15 bytes of each tag.
  std::vector<StoredTag> readTags(const Fragment& fragment);
  /// The entries of an `mfra`.
  RandomAccessTable readRandomAccess(const BoxSpan& mfra);

 private:
  Source& source_;
  Movie movie_;
  BoxSpan moov_;
};

}  // namespace krvo::container
