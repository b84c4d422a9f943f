#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "platform/container/FragmentPlan.h"
#include "platform/container/GatherWriter.h"
#include "platform/container/OpenFragment.h"
#include "platform/container/Stream.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/RandomAccessTable.h"
#include "util/bytes.h"

namespace krvo::container {

/// What a segment holds, as far as writing on needs it.
struct SegmentState {
  Movie movie;
  bool headerWritten = false;
  /// Of the last whole fragment, or of the `moov`: where the next fragment will begin.
  std::uint64_t end = 0;
  std::uint32_t nextSequenceNumber = 1;
  /// Of the last whole fragment; empty in front of the first one.
  LastTimes lastTimes = {};
  /// Null where it does not tell of every fragment in the file; such a table would mislead, so none is written.
  std::optional<RandomAccessTable> randomAccess = RandomAccessTable{};
};

/// Writes the fragments of one segment. Belongs to one thread. Every operation throws StatusError, std::out_of_range
/// for a number that does not fit, or std::bad_alloc.
///
/// A fragment is in memory until the next one is started; it is then written front to back at end(). When that fails
/// its buffers are given back and end() stays, so that the next fragment is written over what the failure left.
class SegmentWriter {
 public:
  SegmentWriter(std::unique_ptr<Stream> stream, const KrvoK2MAllocatorCallBacks& allocator, SegmentState state);
  SegmentWriter(const SegmentWriter&) = delete;
  SegmentWriter& operator=(const SegmentWriter&) = delete;

  const Movie& movie() const { return state_.movie; }
  /// Until the first fragment is started.
  bool takesTracks() const { return !state_.headerWritten; }
  /// The track becomes the last one and gets its id.
  void addTrack(const std::shared_ptr<Track>& track);
  /// The place of a track of this segment in the movie.
  std::size_t indexOf(const Track& track) const;

  /// Writes the open fragment, where there is one that has begun, or the header of a new file. Answers where the next
  /// fragment will begin.
  std::uint64_t startFragment();
  /// Begins the content of the open fragment. What an attempt before it had added is given back.
  void beginContent(OwnedData abst, std::uint32_t length);
  /// A tag of the open fragment, which has begun. Without a `mediaTrack`, `media` is not used.
  void addTag(OwnedData data, const Track& hintTrack, const Track* mediaTrack, const K2MSampleInfo& info,
              const K2MMediaRange& media, bool randomAccess);
  void flush() { stream_->flush(); }
  /// Drops the open fragment and ends the file. To be called once, as the last operation.
  void finish();

 private:
  void writeHeader();
  void writeFragment();
  void noteLastTimes();
  void writeTable();
  void dropFragment() noexcept;
  void coverLeftover();

  std::unique_ptr<Stream> stream_;
  SegmentState state_;
  bool fragmentOpen_ = false;
  OpenFragment fragment_;
  FragmentPlan plan_;
  /// All of a fragment but its tags.
  qvs::util::ByteWriter boxes_;
  GatherWriter gather_;
};

}  // namespace krvo::container
