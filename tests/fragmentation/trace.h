#pragma once

#include <cctype>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "fragmentation/Fragmenter.h"

namespace test {

/// Samples in a line, "0k 1000 2000v 2500d": times with k for a key frame, v for another video sample, d for data and
/// nothing for audio.
inline std::vector<ruvo::k2r::SampleInfo> samples(const std::string& text) {
  using ruvo::k2r::SampleKind;
  std::vector<ruvo::k2r::SampleInfo> result;
  std::istringstream in(text);
  for (std::uint64_t time = 0; in >> time;) {
    ruvo::k2r::SampleInfo sample{.kind = SampleKind::Audio, .time = time, .keyFrame = false};
    if (std::isalpha(in.peek()) != 0) {
      const int suffix = in.get();
      sample.kind = suffix == 'd' ? SampleKind::Data : SampleKind::Video;
      sample.keyFrame = suffix == 'k';
    }
    result.push_back(sample);
  }
  if (!in.eof()) throw std::invalid_argument("no samples: " + text);
  return result;
}

/// "write 3 [8000,12000) ->4": action, fragment, range, next state.
inline std::string describe(const ruvo::k2r::FragmentDecision& decision) {
  constexpr const char* kActions[] = {"none", "write", "hold", "skip", "flush", "start", "drop"};
  const auto& range = decision.range;
  std::ostringstream out;
  out << kActions[static_cast<std::uint32_t>(decision.action)] << ' ' << range.fragmentNumber << " [" << range.startTime
      << ',' << range.endTime << ") ->" << range.nextState;
  return out.str();
}

/// Every decision that is not None, a line each, behind the time of its sample.
inline std::string trace(ruvo::k2r::Fragmenter& fragmenter, const std::vector<ruvo::k2r::SampleInfo>& stream) {
  std::ostringstream out;
  for (const auto& sample : stream) {
    const auto decision = fragmenter.addSample(sample);
    if (decision.action == ruvo::k2r::FragmentAction::None) continue;
    out << sample.time << ' ' << describe(decision) << '\n';
  }
  return out.str();
}

}  // namespace test
