#pragma once

#include "fragmentation/FragmentDecision.h"
#include "fragmentation/SampleInfo.h"

namespace ruvo::k2r {

/// Decides, sample by sample, where the fragments of a recording begin and end, on a fixed grid of its timeline. Knows
/// nothing of files. Belongs to the thread that records the stream; allocates nothing and throws nothing. The owner
/// knows the concrete class: there is no virtual destructor.
class Fragmenter {
 public:
  /// Called once per sample, in the order of their times, before the sample is queued. Times must not fall: a number
  /// that falls would close no fragment, and the record path raises such times first.
  virtual FragmentDecision addSample(const SampleInfo& sample) = 0;
  /// The decision that would close the open fragment, given the last sample. Changes no state, except that a
  /// DualFragmenter makes its choice. A stop does not call it: what is queued then is dropped.
  virtual FragmentDecision endOfStream(const SampleInfo& sample) = 0;

 protected:
  Fragmenter() = default;
  Fragmenter(const Fragmenter&) = default;
  Fragmenter& operator=(const Fragmenter&) = default;
  ~Fragmenter() = default;
};

}  // namespace ruvo::k2r
