#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/container/Movie.h"
#include "platform/container/OpenFragment.h"

namespace krvo::container {

// The optional fields of `tfhd` and `trun` (ISO/IEC 14496-12, 8.8.7 and 8.8.8).
inline constexpr std::uint32_t kTfhdBaseDataOffset = 0x000001;
inline constexpr std::uint32_t kTfhdDescriptionIndex = 0x000002;
inline constexpr std::uint32_t kTfhdDefaultDuration = 0x000008;
inline constexpr std::uint32_t kTfhdDefaultSize = 0x000010;
inline constexpr std::uint32_t kTfhdDefaultFlags = 0x000020;
inline constexpr std::uint32_t kTfhdDefaultBaseIsMoof = 0x020000;
inline constexpr std::uint32_t kTrunDataOffset = 0x000001;
inline constexpr std::uint32_t kTrunFirstSampleFlags = 0x000004;
inline constexpr std::uint32_t kTrunDurations = 0x000100;
inline constexpr std::uint32_t kTrunSizes = 0x000200;
inline constexpr std::uint32_t kTrunSampleFlags = 0x000400;
inline constexpr std::uint32_t kTrunCompositionOffsets = 0x000800;

// Sample flags (8.8.3.1): depends on no other sample; depends on others and is no sync sample.
inline constexpr std::uint32_t kSyncSampleFlags = 0x02000000;
inline constexpr std::uint32_t kNonSyncSampleFlags = 0x01010000;
inline constexpr std::uint32_t kSampleIsNonSync = 0x00010000;

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
