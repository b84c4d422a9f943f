#include "platform/container/SegmentWriter.h"

#include <algorithm>
#include <utility>

#include "platform/container/fragmentBoxes.h"
#include "platform/container/reading/boxes.h"
#include "platform/container/reading/moovWriter.h"
#include "platform/container/status.h"
#include "platform/container/tagSamples.h"
#include "util/box.h"
#include "util/narrow.h"

namespace krvo::container {
namespace {

using qvs::util::ByteWriter;
using qvs::util::narrow;

constexpr std::uint64_t kMinBoxSize = 8;
constexpr std::uint64_t kMaxBoxHeader = 16;

/// Appends the header of a `free` box that covers old bytes from `from` to `leftoverEnd`, or nothing if there are none.
/// Readers then find whole boxes up to the end of the file. The box may reach a few bytes beyond the old ones, since it
/// has at least a header.
void writeCover(ByteWriter& out, std::uint64_t from, std::uint64_t leftoverEnd) {
  if (leftoverEnd > from) writeSizeAndType(out, "free"_4cc, std::max(leftoverEnd - from, kMinBoxSize));
}

}  // namespace

SegmentWriter::SegmentWriter(std::unique_ptr<Stream> stream, const KrvoK2MAllocatorCallBacks& allocator,
                             SegmentState state)
    : stream_(std::move(stream)), state_(std::move(state)), gather_(allocator) {
  if (state_.headerWritten) coverLeftover();
}

void SegmentWriter::addTrack(const std::shared_ptr<Track>& track) {
  require(takesTracks());
  track->id = narrow<std::uint32_t>(state_.movie.tracks.size() + 1);
  state_.movie.tracks.push_back(track);
}

std::size_t SegmentWriter::indexOf(const Track& track) const {
  const auto& tracks = state_.movie.tracks;
  const auto found =
      std::find_if(tracks.begin(), tracks.end(), [&track](const auto& own) { return own.get() == &track; });
  require(found != tracks.end());
  return static_cast<std::size_t>(found - tracks.begin());
}

std::uint64_t SegmentWriter::startFragment() {
  if (!state_.headerWritten) {
    writeHeader();
  } else if (fragment_.begun()) {
    writeFragment();
  }
  fragmentOpen_ = true;
  return state_.end;
}

void SegmentWriter::beginContent(OwnedData abst, std::uint32_t length) {
  require(fragmentOpen_ && length > 0 && abst.data() != nullptr);
  fragment_.begin(std::move(abst), length);
}

void SegmentWriter::addTag(OwnedData data, const Track& hintTrack, const Track* mediaTrack, const K2MSampleInfo& info,
                           const K2MMediaRange& media, bool randomAccess) {
  require(fragment_.begun() && hintTrack.isHint() && data.data() != nullptr);
  Tag tag{std::move(data), info.length};
  OpenFragment::Samples samples;
  samples.hint = {indexOf(hintTrack), hintSample(hintTrack, info)};
  if (mediaTrack != nullptr) {
    require(!mediaTrack->isHint());
    const std::size_t index = indexOf(*mediaTrack);
    const Sample sample = mediaSample(*mediaTrack, tag.bytes(), info, media);
    // A message that is only its codec header has no sample: players refuse samples of 0 bytes.
    if (sample.size != 0) samples.media = {index, sample};
  }
  if (randomAccess) samples.accessPoint = accessPoint(info);
  fragment_.add(std::move(tag), samples);
}

void SegmentWriter::finish() {
  dropFragment();
  if (!state_.headerWritten) return;
  try {
    writeTable();
  } catch (...) {
    // Half a table must not remain after the last fragment: an append would take it for the remains of a crash.
    boxes_.clear();
    coverLeftover();
    throw;
  }
}

void SegmentWriter::writeTable() {
  // A table without entries is written, too, as in a segment whose fragments have no samples: a segment with a table is
  // known to have ended.
  if (state_.randomAccess) state_.randomAccess->write(boxes_, state_.movie);
  // Readers look for the `mfra` at the end of the file, and old bytes after it would hide it. The file cannot be cut
  // off through the stream, so the table is written at the end and a `free` box fills the gap.
  const std::uint64_t leftover = std::max(stream_->size(), state_.end) - state_.end;
  const std::uint64_t gap = leftover > boxes_.size() ? std::max(leftover - boxes_.size(), kMinBoxSize) : 0;
  stream_->write(state_.end + gap, boxes_.bytes());
  if (gap == 0) return;
  boxes_.clear();
  writeSizeAndType(boxes_, "free"_4cc, gap);
  stream_->write(state_.end, boxes_.bytes());
}

void SegmentWriter::writeHeader() {
  const auto& tracks = state_.movie.tracks;
  require(!tracks.empty());
  // Players refuse a track without a description, and the header cannot be written again.
  require(std::none_of(tracks.begin(), tracks.end(), [](const auto& track) { return track->descriptions.empty(); }));
  boxes_.clear();
  container::writeHeader(boxes_, state_.movie);
  const std::uint64_t end = boxes_.size();
  require(end <= kMaxLoadedBox, kKrvoTooLarge);
  writeCover(boxes_, end, stream_->size());
  stream_->write(0, boxes_.bytes());
  state_.end = end;
  state_.headerWritten = true;
}

void SegmentWriter::writeFragment() {
  // Written or failed, the fragment gives its buffers back: the caller adds its messages again after a failure.
  const struct Drop {
    SegmentWriter& writer;
    ~Drop() { writer.dropFragment(); }
  } drop{*this};

  // All that can throw comes before the write, so that a fragment that is in the file is also in the state.
  state_.lastTimes.resize(state_.movie.tracks.size());
  plan_.make(fragment_, state_.movie, state_.lastTimes);
  const std::uint64_t next = state_.end + plan_.size();
  narrow<std::int64_t>(next + kMaxBoxHeader);  // the stream seeks with signed offsets
  const std::uint32_t following = narrow<std::uint32_t>(std::uint64_t{state_.nextSequenceNumber} + 1);

  boxes_.clear();
  boxes_.reserve(static_cast<std::size_t>(plan_.boxesSize() + kMaxBoxHeader));
  writeFragmentBoxes(boxes_, plan_, fragment_, state_.nextSequenceNumber);
  writeCover(boxes_, next, stream_->size());
  const auto boxes = boxes_.bytes();
  const auto inFront = static_cast<std::size_t>(plan_.boxesSize());
  // All boxes come first and in one piece, so that the first write has the size of the `mdat`: by it a host knows which
  // write is the last one. The cover of old bytes is part of that write: no moment shows a file with a torn box after
  // the fragment.
  gather_.add(boxes.first(inFront));
  for (const Tag& tag : fragment_.tags()) gather_.add(tag.bytes());
  gather_.add(boxes.subspan(inFront));

  try {
    if (state_.randomAccess) plan_.addEntries(*state_.randomAccess, state_.end + plan_.moofOffset());
    gather_.write(*stream_, state_.end);
  } catch (...) {
    if (state_.randomAccess) state_.randomAccess->dropFrom(state_.end);
    throw;
  }
  state_.end = next;
  state_.nextSequenceNumber = following;
  noteLastTimes();
}

// A track without samples in this fragment starts over: a duration across a gap would be a wrong guess.
void SegmentWriter::noteLastTimes() {
  for (std::size_t i = 0; i < state_.lastTimes.size(); ++i) {
    const auto samples = fragment_.samplesOf(i);
    state_.lastTimes[i] = samples.empty() ? std::nullopt : std::optional(samples.back().time);
  }
}

void SegmentWriter::dropFragment() noexcept {
  gather_.clear();
  plan_.clear();
  boxes_ = {};
  fragment_.clear();
}

void SegmentWriter::coverLeftover() {
  writeCover(boxes_, state_.end, stream_->size());
  stream_->write(state_.end, boxes_.bytes());
  boxes_.clear();
}

}  // namespace krvo::container
