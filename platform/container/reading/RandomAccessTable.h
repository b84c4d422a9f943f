#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/container/reading/Fragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/Source.h"
#include "platform/container/reading/boxes.h"
#include "util/bytes.h"

namespace krvo::container {

/// The samples at which each media track can be entered: its first sync sample in each fragment. It is the `mfra` box
/// at the end of a file (ISO/IEC 14496-12, 8.8.9 to 8.8.11). Owns its entries.
///
///     tfra, a full box of version 1, for each media track
///      0  u32  track id                               8  u32  count n
///      4  u32  0x3F: three numbers of 32 bits each   12       n times u64 time, u64 `moof` offset,
///                                                             u32 `traf`, u32 `trun`, u32 sample
///
/// The last box, `mfro`, is a full box with the size of the `mfra`, so that readers find its start from the end of the
/// file.
class RandomAccessTable {
 public:
  /// One entry of a `tfra`.
  struct Entry {
    std::uint32_t trackId = 0;
    /// Presentation time, in the track's timescale.
    std::uint64_t time = 0;
    /// Of the fragment's `moof` in the file.
    std::uint64_t moofOffset = 0;
    // Counted from 1.
    std::uint32_t trafNumber = 0;
    std::uint32_t trunNumber = 0;
    std::uint32_t sampleNumber = 0;

    bool operator==(const Entry&) const = default;
  };

  RandomAccessTable() = default;
  /// Reads an `mfra` as write() makes it. Throws SegmentError for another version, for numbers of other widths, and for
  /// an `mfro` that is missing or does not give the size of the box.
  RandomAccessTable(Source& source, const BoxSpan& mfra);

  void add(const Entry& entry) { entries_.push_back(entry); }
  /// Adds the entries of a fragment that was read from a file. A track without a sync sample in it gets no entry.
  void addFragment(const Fragment& fragment, const Movie& movie);
  /// Removes the entries of fragments whose `moof` is at `offset` or after it. To be called when a fragment that was
  /// added could not be written.
  void dropFrom(std::uint64_t offset) noexcept;

  /// Sorted by the offset of their `moof`.
  std::span<const Entry> entries() const { return entries_; }
  /// Appends the box: a `tfra` of version 1 for each track but the hint track, and `mfro`. Throws std::out_of_range for
  /// a box above 32 bits.
  void write(qvs::util::ByteWriter& out, const Movie& movie) const;

 private:
  /// In the order in which fragments were added, which is that of the file.
  std::vector<Entry> entries_;
};

/// `decodeTime` plus `compositionOffset`, both in the track's timescale; 0 for a time before the start.
std::uint64_t presentationTime(std::uint64_t decodeTime, std::int64_t compositionOffset);

}  // namespace krvo::container
