#pragma once

#include <sstream>
#include <string>

#include "fragmentation/AfraBox.h"
#include "fragmentation/AfraIndex.h"
#include "fragmentation/BootstrapInfo.h"
#include "fragmentation/BootstrapReader.h"

namespace test {

/// An index file as text, an entry each: "fragment@time:place", the place being "held", "none" or "written".
inline std::string describeIndex(const std::string& image) {
  std::istringstream in(image);
  ruvo::k2r::AfraIndex index;
  ruvo::k2r::readAfra(in, index);
  std::string text;
  for (const auto& entry : index.globalEntries) {
    const bool held = entry.afraOffset == ruvo::k2r::kHeldFragmentOffset;
    text += (text.empty() ? "" : " ") + std::to_string(entry.fragment) + "@" + std::to_string(entry.time) + ":" +
            (held                ? "held"
             : entry.isWritten() ? "written"
                                 : "none");
  }
  return text;
}

/// A bootstrap as text: "segment x fragments", then "first@timestamp+duration" or "first@timestamp!discontinuity" for
/// each run.
inline std::string describeBootstrap(const std::string& image) {
  std::istringstream in(image);
  ruvo::k2r::BootstrapInfo info;
  ruvo::k2r::readBootstrap(in, info);
  std::string text;
  for (const auto& run : info.segmentRunTables.at(0).segmentRuns) {
    text += std::to_string(run.firstSegment) + "x" + std::to_string(run.fragmentsPerSegment) + " ";
  }
  text += "|";
  for (const auto& run : info.fragmentRunTables.at(0).fragmentRuns) {
    text += " " + std::to_string(run.firstFragment) + "@" + std::to_string(run.firstTimestamp) +
            (run.duration != 0 ? "+" + std::to_string(run.duration) : "!" + std::to_string(run.discontinuity));
  }
  return text;
}

}  // namespace test
