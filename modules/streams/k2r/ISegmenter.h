#pragma once

#include <cstdint>

namespace qvs::k2r {

/// Decides when a segment file is full. The stream implements it; the interface keeps what fragments do to segments in
/// one place.
class ISegmenter {
 public:
  /// Adds the duration of a written fragment, and begins a new segment if the current one is full then.
  virtual void addDuration(std::uint32_t milliseconds) = 0;
  /// Of the current segment, from 1.
  virtual std::uint32_t segmentNumber() const = 0;
  virtual ~ISegmenter() = default;
};

}  // namespace qvs::k2r
