#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/container/Fragment.h"
#include "platform/container/FragmentPlan.h"
#include "platform/container/Movie.h"
#include "util/bytes.h"

namespace krvo::container {

/// Where each media track can be entered: the first sync sample that it has in each fragment. Becomes the `mfra` box at
/// the end of a file (ISO/IEC 14496-12, 8.8.9 to 8.8.11).
class RandomAccessTable {
 public:
  /// In a `tfra`: each of the three numbers of an entry takes four bytes.
  static constexpr std::uint32_t kNumberWidths = 0x3F;

  struct Entry {
    std::uint32_t trackId = 0;
    /// Presentation time, in the track's timescale.
    std::uint64_t time = 0;
    std::uint64_t moofOffset = 0;
    /// Counted from 1.
    std::uint32_t trafNumber = 0;
    std::uint32_t trunNumber = 0;
    std::uint32_t sampleNumber = 0;

    bool operator==(const Entry&) const = default;
  };

  void add(const Entry& entry) { entries_.push_back(entry); }
  /// Adds the entries of the fragment whose `moof` is at `moofOffset`.
  void addFragment(const FragmentPlan& plan, std::uint64_t moofOffset);
  /// The same for one that is read from a file.
  void addFragment(const Fragment& fragment, const Movie& movie);
  /// Takes back what lies at or behind `offset`.
  void dropFrom(std::uint64_t offset) noexcept;

  /// In the order of the file.
  std::span<const Entry> entries() const { return entries_; }
  /// Appends the box: a `tfra` of version 1 for each track but the hint track, and `mfro`.
  void write(qvs::util::ByteWriter& out, const Movie& movie) const;

 private:
  std::vector<Entry> entries_;
};

}  // namespace krvo::container
