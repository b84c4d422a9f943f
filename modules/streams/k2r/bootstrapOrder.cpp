#include "modules/streams/k2r/bootstrapOrder.h"

#include <algorithm>
#include <span>

namespace qvs::k2r {
namespace {

using ruvo::k2r::BootstrapInfo;
using ruvo::k2r::FragmentRunEntry;
using ruvo::k2r::SegmentRunEntry;

std::span<const FragmentRunEntry> fragmentRuns(const BootstrapInfo& info) {
  if (info.fragmentRunTables.empty()) return {};
  return info.fragmentRunTables.front().fragmentRuns;
}

std::span<const SegmentRunEntry> segmentRuns(const BootstrapInfo& info) {
  if (info.segmentRunTables.empty()) return {};
  return info.segmentRunTables.front().segmentRuns;
}

template <typename Entry>
bool startsWith(std::span<const Entry> runs, std::span<const Entry> start) {
  return runs.size() >= start.size() && std::equal(start.begin(), start.end(), runs.begin());
}

}  // namespace

bool isContinuedBy(const BootstrapInfo& earlier, const BootstrapInfo& later, std::uint32_t segment) {
  auto runs = fragmentRuns(earlier);
  const bool ended = !runs.empty() && runs.back().isEndOfPresentation();
  if (ended) runs = runs.first(runs.size() - 1);
  const auto laterRuns = fragmentRuns(later);
  const auto counts = segmentRuns(earlier);
  const auto laterCounts = segmentRuns(later);
  if (counts.empty() || laterCounts.empty() || laterCounts.back().firstSegment != segment) return false;
  if (!startsWith(laterRuns, runs) || later.bootstrapVersion < earlier.bootstrapVersion) return false;

  // A roll-over: the index of this segment may be left from another recording, so everything has to fit exactly.
  if (counts.back().firstSegment != segment) {
    return !ended && later.currentMediaTime > earlier.currentMediaTime && laterCounts.size() == counts.size() + 1 &&
           startsWith(laterCounts, counts);
  }
  // The time is not compared: if a stop took back a held fragment, the next one may end earlier than that. Nor may the
  // count decide alone: the stop left the held fragment counted, so the runs may grow while the count stays.
  const std::uint32_t counted = counts.back().fragmentsPerSegment;
  const std::uint32_t laterCounted = laterCounts.back().fragmentsPerSegment;
  return laterCounts.size() == counts.size() && startsWith(laterCounts, counts.first(counts.size() - 1)) &&
         laterCounted >= counted && (laterCounted > counted || laterRuns.size() > runs.size());
}

}  // namespace qvs::k2r
