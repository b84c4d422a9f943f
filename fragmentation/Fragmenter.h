#pragma once

#include "fragmentation/FragmentDecision.h"
#include "fragmentation/SampleInfo.h"

namespace ruvo::k2r {

/// Decides, sample by sample, where the fragments of a recording begin and end, on a fixed grid of its timeline. Knows
/// nothing of files. Belongs to the thread that records the stream; allocates nothing and throws nothing.
class Fragmenter {
 public:
  /// Called once per sample, in the order of their times, before the sample is queued.
  virtual FragmentDecision addSample(const SampleInfo& sample) = 0;
  /// What would close the open fragment, given the last sample. Changes no more than which of its machines a
  /// DualFragmenter takes.
  virtual FragmentDecision endOfStream(const SampleInfo& sample) = 0;

 protected:
  Fragmenter() = default;
  Fragmenter(const Fragmenter&) = default;
  Fragmenter& operator=(const Fragmenter&) = default;
  ~Fragmenter() = default;
};

}  // namespace ruvo::k2r
