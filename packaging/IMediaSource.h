#pragma once

#include <memory>

#include "fragmentation/SampleInfo.h"
#include "packaging/MediaProperties.h"
#include "packaging/NQMessage.h"

namespace ruvo::k2rpkgutil {

/// Walks the samples of a source once, front to back.
class ISampleIterator {
 public:
  virtual ~ISampleIterator() = default;
  virtual bool hasNext() = 0;
  /// Moves to the next sample, of which there is one, and tells about it.
  virtual void nextInfo(ruvo::k2r::SampleInfo& out) = 0;
  /// The sample that nextInfo() moved to, as a message. Does not move on.
  virtual void currentMessage(NQMessage& out) = 0;
};

/// A recording's properties, tracks and samples, wherever they come from.
class IMediaSource : public IMediaProperties {
 public:
  /// The samples of all tracks, in the order in which they are stored.
  virtual void getSamples(std::unique_ptr<ISampleIterator>& out) = 0;
};

}  // namespace ruvo::k2rpkgutil
