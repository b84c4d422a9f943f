#pragma once

#include <cstdint>

#include "imo/IMOStreamOpenContext.h"

namespace ruvo::k2r {

/// How a recording is cut, in milliseconds. The durations are never 0.
struct FragmentationConfig {
  std::uint32_t fragmentDuration = 4000;
  /// Grid to which the bootstrap rounds durations; need not be whole.
  double durationPrecision = 100.0;
  /// How far a fragment may lie from where its run predicts it.
  std::uint32_t allowedDrift = 1000;

  bool operator==(const FragmentationConfig&) const = default;
};

/// From the settings of a stream: the durations as given, or computed from a frame rate. Throws qvs::QVSException for
/// settings that give no duration, and boost::bad_lexical_cast for what is no number.
FragmentationConfig readFragmentationConfig(IMOStreamOpenContext& context);

}  // namespace ruvo::k2r
