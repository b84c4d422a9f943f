#pragma once

#include <cstdint>

namespace qvs::k2r {

/// Decides when a segment file is full.
class ISegmenter {
 public:
  /// Accounts for the duration of a fragment, and begins a new segment where that fills the current one.
  virtual void addDuration(std::uint32_t milliseconds) = 0;
  virtual std::uint32_t segmentNumber() const = 0;
  virtual ~ISegmenter() = default;
};

}  // namespace qvs::k2r
