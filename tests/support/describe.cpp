#include "tests/support/describe.h"

#include <algorithm>
#include <span>
#include <sstream>

namespace test {

using namespace ruvo::k2r;

namespace {

constexpr const char* kMarks[] = {"end", "empty", "jump", "both"};
constexpr const char* kActions[] = {"none", "write", "hold", "skip", "flush", "start", "drop"};
// In the order of AVFragmenter::State. The first one is also that of fragmenters without states.
constexpr const char* kStates[] = {"",           "leadIn", "awaitingKey", "slotOver", "open",
                                   "openBehind", "held",   "heldThenKey", "flushed"};

void describe(std::ostream& out, const FragmentRunEntry& run) {
  if (run == FragmentRunEntry()) {
    out << " end";
    return;
  }
  out << ' ' << run.firstFragment << '@' << run.firstTimestamp;
  if (run.isDiscontinuity()) {
    out << '!' << kMarks[run.discontinuity];
  } else {
    out << '+' << run.duration;
  }
}

}  // namespace

std::string describe(const BootstrapInfo& bootstrap) {
  std::ostringstream out;
  for (const auto& run : bootstrap.segmentRunTables.at(0).segmentRuns)
    out << run.firstSegment << 'x' << run.fragmentsPerSegment << ' ';
  out << '|';
  for (const auto& run : bootstrap.fragmentRunTables.at(0).fragmentRuns) describe(out, run);
  return out.str();
}

std::string describe(const AfraIndex& index) {
  std::ostringstream out;
  for (const auto& entry : index.globalEntries) {
    const char* const place = entry.isWritten()                         ? ":written"
                              : entry.afraOffset == kHeldFragmentOffset ? ":held"
                                                                        : ":none";
    out << (out.tellp() == 0 ? "" : " ") << entry.fragment << '@' << entry.time << place;
  }
  return out.str();
}

std::string describe(const FragmentDecision& decision) {
  const FragmentRange& range = decision.range;
  std::ostringstream out;
  out << kActions[static_cast<std::uint32_t>(decision.action)];
  if (range.fragmentNumber != 0) {
    out << ' ' << range.fragmentNumber << " [" << range.startTime << ',' << range.endTime << ')';
  }
  if (range.nextState != 0) out << " ->" << (range.nextState == 0xFFFFFFFF ? "ended" : kStates[range.nextState]);
  return out.str();
}

std::string describeSample(std::uint64_t time, std::uint64_t duration, std::int64_t compositionOffset, bool sync) {
  return std::to_string(time) + '+' + std::to_string(duration) +
         (compositionOffset == 0 ? "" : '/' + std::to_string(compositionOffset)) + (sync ? "!" : "");
}

std::string describe(const krvo::container::Fragment& fragment, const krvo::container::Movie& movie) {
  using qvs::util::operator""_4cc;
  const auto nameOf = [&](std::uint32_t id) {
    const auto track = std::ranges::find(movie.tracks, id, [](const auto& known) { return known->id; });
    const auto handler = track == movie.tracks.end() ? 0 : (*track)->handler;
    return handler == "vide"_4cc ? "video" : handler == "soun"_4cc ? "audio" : handler == "meta"_4cc ? "data" : "?";
  };
  std::string text;
  for (const auto& track : std::span(fragment.tracks).first(fragment.tracks.size() - 1)) {
    text += nameOf(track.trackId);
    std::uint32_t run = 0;
    for (const auto& sample : track.samples) {
      text += (sample.run == run ? '~' : ' ') +
              describeSample(sample.decodeTime, sample.duration, sample.compositionOffset, sample.sync);
      run = sample.run;
    }
    text += ", ";
  }
  return text + std::to_string(fragment.tracks.back().samples.size()) + " tags";
}

}  // namespace test
