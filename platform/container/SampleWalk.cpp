#include "platform/container/SampleWalk.h"

#include <algorithm>
#include <utility>

namespace krvo::container {

SampleWalk::SampleWalk(std::shared_ptr<StoredSegment> segment, std::shared_ptr<const Track> track)
    : segment_(std::move(segment)), track_(std::move(track)), offset_(segment_->reader.firstFragment()) {}

std::optional<WalkedSample> SampleWalk::next() {
  while (next_ == fragment_.samples.size()) {
    if (!readOn()) return std::nullopt;
  }
  const StoredSample& sample = fragment_.samples[next_];
  const auto& descriptions = track_->descriptions;
  // The number comes from the file; the iterator must not lead outside the list.
  if (sample.description == 0 || sample.description > descriptions.size()) {
    throw SegmentError(fragment_.offset, "`tfhd`: a sample description that the track does not have");
  }
  ++next_;
  return WalkedSample{segment_, track_, descriptions[sample.description - 1], sample};
}

bool SampleWalk::readOn() {
  SegmentReader& reader = segment_->reader;
  const auto box = reader.boxAt(offset_);
  if (!box) return false;
  // A fragment begins with its `afra`. Other boxes between fragments, such as `free`, have no samples.
  if (box->type != "afra"_4cc) {
    offset_ = box->end();
    return true;
  }
  Fragment fragment = reader.readFragment(box->offset);
  const auto own = std::ranges::find(fragment.tracks, track_->id, &TrackFragment::trackId);
  fragment_ = own == fragment.tracks.end() ? TrackFragment{} : std::move(*own);
  next_ = 0;
  offset_ = fragment.boxes.end();
  return true;
}

}  // namespace krvo::container
