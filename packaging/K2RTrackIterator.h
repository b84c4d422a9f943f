#pragma once

#include <memory>
#include <vector>

#include "packaging/MediaProperties.h"

namespace ruvo::k2rpkgutil {

/// Walks a copy of a list of tracks once, so that the source may change or be destroyed meanwhile. The tracks are
/// shared with the source: a track added later is not seen, a change to a track's fields is. Belongs to one thread.
class K2RTrackIterator final : public ITrackIterator {
 public:
  explicit K2RTrackIterator(const std::vector<std::shared_ptr<K2RTrack>>& tracks)
      : tracks_(tracks), position_(tracks_.begin()) {}
  /// Not copied, since `position_` would point into the other object's list.
  K2RTrackIterator(const K2RTrackIterator&) = delete;
  K2RTrackIterator& operator=(const K2RTrackIterator&) = delete;

  bool hasNext() override { return position_ != tracks_.end(); }
  void next(std::shared_ptr<K2RTrack>& out) override;

 private:
  std::vector<std::shared_ptr<K2RTrack>> tracks_;
  std::vector<std::shared_ptr<K2RTrack>>::const_iterator position_;
};

}  // namespace ruvo::k2rpkgutil
