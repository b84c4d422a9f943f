#pragma once

#include <cstdint>

#include "imo/IMOStreamOpenContext.h"

namespace ruvo::k2r {

/// How a recording is cut, in milliseconds. `fragmentDuration` and `durationPrecision` are never 0: fragmenters and
/// bootstrap divide by them.
struct FragmentationConfig {
  /// Width of a slot of the grid on which fragments begin.
  std::uint32_t fragmentDuration = 4000;
  /// Multiple to which the bootstrap rounds durations; need not be whole (a frame at 29.97 Hz takes 33.37 ms).
  double durationPrecision = 100.0;
  /// How far a fragment may begin from where its run in the bootstrap predicts it.
  std::uint32_t allowedDrift = 1000;

  bool operator==(const FragmentationConfig&) const = default;
};

/// Reads the settings of a stream once: the durations as given or, with a frame rate above 0, computed from counts of
/// frames, which then override them. A given duration of 0 is refused even if it would be overridden. Throws
/// qvs::QVSException, with a fixed text, for settings that give no duration, and boost::bad_lexical_cast for a value
/// that is no number.
FragmentationConfig readFragmentationConfig(IMOStreamOpenContext& context);

}  // namespace ruvo::k2r
