#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "packaging/MetaTrackInfo.h"

namespace ruvo::k2rpkgutil {

/// What a stream's description says. Plain values.
struct MetadataSummary {
  /// Seconds.
  double duration = 0;
  std::vector<std::shared_ptr<ruvo::k2r::MetaTrackInfo>> tracks;
  /// Names and values of the host's own.
  std::vector<std::pair<std::string, std::string>> customDefinitions;
  bool hasAvc = false;
  double avcProfile = 0;
  double avcLevel = 0;
  bool hasAac = false;
  double aacObjectType = 0;
  bool hasSmpte = false;
  double smpteOffset = 0;
};

}  // namespace ruvo::k2rpkgutil
