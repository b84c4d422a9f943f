#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/container/FragmentPlan.h"
#include "platform/container/GatherWriter.h"
#include "platform/container/OpenFragment.h"
#include "platform/container/Stream.h"
#include "platform/container/reading/Movie.h"
#include "platform/container/reading/RandomAccessTable.h"
#include "util/bytes.h"

namespace krvo::container {

/// The state of a segment, as far as continuing it needs: empty for a new file, from reopenSegment() for an existing
/// one.
struct SegmentState {
  Movie movie;
  /// Whether the file has a `moov`. No track or description can be added then.
  bool headerWritten = false;
  /// Offset of the end of the last whole fragment, or of the `moov`: the next fragment begins there.
  std::uint64_t end = 0;
  /// For the `mfhd` (8.8.5): one more than that of the last fragment.
  std::uint32_t nextSequenceNumber = 1;
  /// From the last whole fragment; empty before the first one.
  LastTimes lastTimes = {};
  /// Nothing if the entries of some fragments in the file are unknown. A table without them would hide these fragments
  /// from players that seek by it, so none is written.
  std::optional<RandomAccessTable> randomAccess = RandomAccessTable{};
};

/// Writes the fragments of one segment (ISO/IEC 14496-12, 8.8). Belongs to one thread. Every operation throws
/// StatusError, std::out_of_range for a number that does not fit its field, or std::bad_alloc.
///
/// A fragment is collected in memory until the next one is started. It is then written front to back at the end of the
/// segment. If that fails, its buffers are given back and the end does not move, so the next fragment overwrites what
/// the failure left.
class SegmentWriter {
 public:
  /// For an existing segment, covers bytes after `state.end` with a `free` box at once.
  SegmentWriter(std::unique_ptr<Stream> stream, const KrvoK2MAllocatorCallBacks& allocator, SegmentState state);
  SegmentWriter(const SegmentWriter&) = delete;
  SegmentWriter& operator=(const SegmentWriter&) = delete;

  const Movie& movie() const { return state_.movie; }
  /// True until the first fragment is started, which writes the header.
  bool takesTracks() const { return !state_.headerWritten; }
  /// The track becomes the last one and gets the next id. Throws StatusError once takesTracks() is false: the header
  /// cannot be written again.
  void addTrack(const std::shared_ptr<Track>& track);
  /// Index of `track` in the movie. Throws StatusError for a track of another segment.
  std::size_t indexOf(const Track& track) const;

  /// Writes the open fragment if it has content, or the header of a new file. Returns the offset at which the next
  /// fragment will begin.
  std::uint64_t startFragment();
  /// Begins the content of the open fragment with the body of its `abst`. Content of an earlier attempt is given back.
  void beginContent(OwnedData abst, std::uint32_t length);
  /// Adds a tag to the open fragment, after beginContent(). Without a `mediaTrack`, `media` is not used. Throws
  /// StatusError for a track of another segment, a media track that is a hint track, or a part outside the tag; the tag
  /// is then not in the fragment.
  void addTag(OwnedData data, const Track& hintTrack, const Track* mediaTrack, const K2MSampleInfo& info,
              const K2MMediaRange& media, bool randomAccess);
  /// Of the stream; what is collected stays in memory.
  void flush() { stream_->flush(); }
  /// Drops the open fragment and ends the file with its `mfra`. To be called once, as the last operation.
  void finish();

 private:
  void writeHeader();
  void writeFragment();
  /// The times from which the next fragment takes the duration of a single sample.
  void noteLastTimes();
  void writeTable();
  void dropFragment() noexcept;
  /// Puts a `free` box over the bytes after the last fragment, so that no reader takes them for boxes.
  void coverLeftover();

  std::unique_ptr<Stream> stream_;
  SegmentState state_;
  /// Whether startFragment() has succeeded once, and content may be added.
  bool fragmentOpen_ = false;
  OpenFragment fragment_;
  FragmentPlan plan_;
  /// All boxes of a fragment but the tags in its `mdat`.
  qvs::util::ByteWriter boxes_;
  GatherWriter gather_;
};

}  // namespace krvo::container
