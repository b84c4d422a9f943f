#include "modules/streams/k2r/K2RMediaProperties.h"

#include <algorithm>

#include "packaging/K2RTrackIterator.h"

namespace qvs::k2r {

using ruvo::k2rpkgutil::K2RTrack;

ruvo::k2rpkgutil::ITrackIterator* K2RMediaProperties::getTracks() {
  return std::make_unique<ruvo::k2rpkgutil::K2RTrackIterator>(tracks_).release();
}

std::shared_ptr<K2RTrack> K2RMediaProperties::findTrack(qvs::util::FourCC handlerType) const {
  const auto found =
      std::find_if(tracks_.begin(), tracks_.end(),
                   [handlerType](const std::shared_ptr<K2RTrack>& track) { return track->handlerType == handlerType; });
  return found == tracks_.end() ? nullptr : *found;
}

}  // namespace qvs::k2r
