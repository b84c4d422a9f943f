#include "packaging/K2RTrackIterator.h"

namespace ruvo::k2rpkgutil {

void K2RTrackIterator::next(std::shared_ptr<K2RTrack>& out) {
  if (hasNext()) {
    out = *position_++;
  } else {
    out.reset();
  }
}

}  // namespace ruvo::k2rpkgutil
