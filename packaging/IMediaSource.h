#pragma once

#include <memory>

#include "fragmentation/SampleInfo.h"
#include "packaging/MediaProperties.h"
#include "packaging/NQMessage.h"

namespace ruvo::k2rpkgutil {

/// Walks the samples of a source once, front to back: hasNext(), nextInfo(), and currentMessage() for the samples whose
/// bytes are wanted. Belongs to one thread, and must not outlive its source. Passes on the exceptions of the source.
class ISampleIterator {
 public:
  virtual ~ISampleIterator() = default;
  virtual bool hasNext() = 0;
  /// Moves to the next sample and describes it in `out`. Only after hasNext() returned true.
  virtual void nextInfo(ruvo::k2r::SampleInfo& out) = 0;
  /// Sets `out` to the sample that nextInfo() moved to. Does not move; only after a call of nextInfo().
  virtual void currentMessage(NQMessage& out) = 0;
};

/// Properties, tracks and samples of a recording or of a stored stream. Destroyed through IMediaProperties.
class IMediaSource : public IMediaProperties {
 public:
  /// Sets `out` to a new iterator over the samples of all tracks, in the order in which they are stored. The caller
  /// owns it.
  virtual void getSamples(std::unique_ptr<ISampleIterator>& out) = 0;
};

}  // namespace ruvo::k2rpkgutil
