#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/container/OpenFragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/RandomAccessTable.h"

namespace krvo::container {

/// One `trun`: samples of a track whose bytes touch, of which only the first may be a sync sample of a video track.
struct RunPlan {
  /// Place and number of its samples among those of the track.
  std::size_t first = 0;
  std::size_t count = 0;
  std::uint32_t flags = 0;

  std::uint64_t size() const;
};

/// By the place of the track in the movie: the decode time of its last sample in a fragment, in the track's timescale;
/// nothing for a track without samples there.
using LastTimes = std::vector<std::optional<std::uint64_t>>;

/// One `traf`.
struct TrafPlan {
  const Track* track = nullptr;
  std::span<const Sample> samples;
  std::span<const RunPlan> runs;
  std::uint32_t tfhdFlags = 0;
  /// What most samples have, so that most runs need not tell it.
  std::uint32_t defaultDuration = 0;
  std::uint32_t defaultSize = 0;
  /// Of the track's last sample in the fragment before.
  std::optional<std::uint64_t> timeBefore;

  /// The distance to the next sample of the track, 0 where that one goes back. The last one takes that of the sample
  /// before it; a lone one the distance from the fragment before, since players give up on 0. Throws std::out_of_range
  /// for a distance between two samples beyond 32 bits.
  std::uint32_t duration(std::size_t sample) const;
  std::uint64_t size() const;

 private:
  std::uint32_t loneDuration() const;
};

/// Which boxes a fragment gets, and of what size. Views of the fragment and the movie.
class FragmentPlan {
 public:
  /// `before` tells of the fragment before, and is empty for the first one. Throws std::out_of_range where a box other
  /// than `mdat` passes kMaxLoadedBox, or a duration its field.
  void make(const OpenFragment& fragment, const Movie& movie, const LastTimes& before);

  std::span<const TrafPlan> trafs() const { return trafs_; }
  std::uint32_t afraSize() const { return afraSize_; }
  std::uint32_t abstSize() const { return abstSize_; }
  std::uint32_t moofSize() const { return moofSize_; }
  /// Header included.
  std::uint64_t mdatSize() const { return mdatSize_; }
  std::uint64_t size() const { return boxesSize() + tagBytes_; }

  /// From the start of the `afra`, to the `moof` and to the first tag.
  std::uint64_t moofOffset() const { return std::uint64_t{afraSize_} + abstSize_; }
  /// Of all but the tags.
  std::uint64_t boxesSize() const { return moofOffset() + moofSize_ + (mdatSize_ - tagBytes_); }

  /// Adds the fragment's entries, the first sync sample of each media track, to the table of the file. `moofOffset` is
  /// the place of the `moof` in the file.
  void addEntries(RandomAccessTable& table, std::uint64_t moofOffset) const;

  void clear() noexcept;

 private:
  void planTrack(const Track& track, std::span<const Sample> samples, std::optional<std::uint64_t> timeBefore);
  RunPlan planRun(const TrafPlan& traf, std::size_t first) const;

  std::vector<TrafPlan> trafs_;
  std::vector<RunPlan> runs_;
  std::uint32_t afraSize_ = 0;
  std::uint32_t abstSize_ = 0;
  std::uint32_t moofSize_ = 0;
  std::uint64_t mdatSize_ = 0;
  std::uint64_t tagBytes_ = 0;
};

}  // namespace krvo::container
