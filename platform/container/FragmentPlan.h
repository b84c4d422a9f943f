#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/container/OpenFragment.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/RandomAccessTable.h"

namespace krvo::container {

/// One `trun` to be written (ISO/IEC 14496-12, 8.8.8): consecutive samples of a track whose bytes touch in the file. In
/// a video track only the first of them may be a sync sample, because only its flags are written.
struct RunPlan {
  /// Index of its first sample among those of the track in this fragment, and the number of samples.
  std::size_t first = 0;
  std::size_t count = 0;
  /// Of the box: kTrun... in reading/fragmentFlags.h.
  std::uint32_t flags = 0;

  /// Bytes of the box. 8 bytes of header, version and flags, the count, then the fields that `flags` announces.
  std::uint64_t size() const;
};

/// For each track of the movie, the decode time of its last sample in a fragment, in the track's timescale; nothing for
/// a track without samples in that fragment.
using LastTimes = std::vector<std::optional<std::uint64_t>>;

/// One `traf` to be written (8.8.6). A view of the fragment's samples and the plan's runs.
struct TrafPlan {
  /// Never null in a plan; the movie owns it.
  const Track* track = nullptr;
  /// In decoding order. At least one.
  std::span<const Sample> samples;
  std::span<const RunPlan> runs;
  /// kTfhd... in reading/fragmentFlags.h.
  std::uint32_t tfhdFlags = 0;
  // The values that most samples have, for the `tfhd`: a run needs a field only if one of its samples differs.
  std::uint32_t defaultDuration = 0;
  std::uint32_t defaultSize = 0;
  /// Decode time of the track's last sample in the previous fragment.
  std::optional<std::uint64_t> timeBefore;

  /// The duration of a sample: the time to the next sample of the track, or 0 if the next one is earlier. The last
  /// sample of several gets the duration of the one before it. A single sample gets the time since the previous
  /// fragment, because players give up on 0. Throws std::out_of_range if the time between two samples exceeds 32 bits.
  std::uint32_t duration(std::size_t sample) const;
  /// Bytes of the box.
  std::uint64_t size() const;

 private:
  std::uint32_t loneDuration() const;
};

/// The boxes that a fragment gets and their sizes, so that they can be written front to back with all offsets known.
/// Has views of the fragment and the movie, which must outlive it. Belongs to one thread.
class FragmentPlan {
 public:
  /// `before` has the times of the previous fragment and is empty for the first one. Throws std::out_of_range if a box
  /// other than `mdat` exceeds kMaxLoadedBox, or a duration its field.
  void make(const OpenFragment& fragment, const Movie& movie, const LastTimes& before);

  /// In the order of the movie's tracks, without those that have no sample. Valid until the next make() or clear().
  std::span<const TrafPlan> trafs() const { return trafs_; }
  // Bytes of each box.
  std::uint32_t afraSize() const { return afraSize_; }
  std::uint32_t abstSize() const { return abstSize_; }
  std::uint32_t moofSize() const { return moofSize_; }
  /// With the header.
  std::uint64_t mdatSize() const { return mdatSize_; }
  /// All four boxes with the tags: the distance to the next fragment.
  std::uint64_t size() const { return boxesSize() + tagBytes_; }

  /// Bytes from the start of the `afra` to the `moof`.
  std::uint64_t moofOffset() const { return std::uint64_t{afraSize_} + abstSize_; }
  /// Bytes from the start of the `afra` to the first tag.
  std::uint64_t boxesSize() const { return moofOffset() + moofSize_ + (mdatSize_ - tagBytes_); }

  /// Adds the fragment's entries, the first sync sample of each media track, to the table of the file. `moofOffset` is
  /// the place of the `moof` in the file.
  void addEntries(RandomAccessTable& table, std::uint64_t moofOffset) const;

  /// Drops the views, and gives all memory back.
  void clear() noexcept;

 private:
  /// Chooses the defaults of the `traf`, and splits its samples into runs.
  void planTrack(const Track& track, std::span<const Sample> samples, std::optional<std::uint64_t> timeBefore);
  /// The longest run that begins with the sample `first`.
  RunPlan planRun(const TrafPlan& traf, std::size_t first) const;

  std::vector<TrafPlan> trafs_;
  std::vector<RunPlan> runs_;
  std::uint32_t afraSize_ = 0;
  std::uint32_t abstSize_ = 0;
  std::uint32_t moofSize_ = 0;
  std::uint64_t mdatSize_ = 0;
  /// The payload of the `mdat`.
  std::uint64_t tagBytes_ = 0;
};

}  // namespace krvo::container
