#include "host/verify/bootstrapHistory.h"

#include <algorithm>

#include "host/files/smallFiles.h"

namespace host {
namespace {

using ruvo::k2r::BootstrapInfo;
using ruvo::k2r::FragmentRunEntry;
using ruvo::k2r::SegmentRunEntry;

std::vector<SegmentRunEntry>& segmentRunsOf(BootstrapInfo& info) {
  if (info.segmentRunTables.empty()) info.segmentRunTables.emplace_back();
  return info.segmentRunTables.front().segmentRuns;
}

FragmentRuns& fragmentRunsOf(BootstrapInfo& info) {
  if (info.fragmentRunTables.empty()) info.fragmentRunTables.emplace_back();
  return info.fragmentRunTables.front().fragmentRuns;
}

bool isPlainTimestampGap(const FragmentRunEntry& entry) {
  return entry.isTimestampGap() && !entry.isFragmentGap() && entry.firstTimestamp == 0;
}

/// How many entries at the front of `entries`, which come between two fragments or behind the last one, are markers of
/// a jump in time.
std::size_t leadingGaps(const FragmentRuns& entries) {
  return static_cast<std::size_t>(std::find_if_not(entries.begin(), entries.end(), isPlainTimestampGap) -
                                  entries.begin());
}

/// Whether these may stand behind the run of a fragment that was held: numbers that no key frame opened, and holes.
bool areSkips(const FragmentRunEntry* begin, const FragmentRunEntry* end, const HistoryStep& step) {
  return std::all_of(begin, end, [&step](const FragmentRunEntry& entry) {
    const bool skip = entry.isFragmentGap() && !entry.isTimestampGap() && entry.firstTimestamp >= step.time;
    return (skip || isPlainTimestampGap(entry)) && entry.firstFragment > step.fragment;
  });
}

/// The entries that adding the fragment may have put behind the earlier table.
FragmentRuns plausibleEntries(const AddedRuns& added, const HistoryStep& step) {
  FragmentRuns expected = added.entries;
  const std::size_t gaps = leadingGaps(expected);
  auto rest = expected.begin() + static_cast<std::ptrdiff_t>(added.joins() ? 0 : gaps);
  if (!added.joins() && added.ownRun == gaps) {
    rest->firstFragment = step.fragment;
    rest->firstTimestamp = step.time;
    ++rest;
  }
  if (!areSkips(expected.data() + (rest - expected.begin()), expected.data() + expected.size(), step)) {
    expected.erase(rest, expected.end());
  }
  return expected;
}

/// The distance of the grid lines, by the last number that no key frame opened; 0 where there is none.
std::uint64_t gridOf(const FragmentRuns& runs) {
  const auto marker = std::find_if(runs.rbegin(), runs.rend(), [](const FragmentRunEntry& run) {
    return run.isFragmentGap() && run.firstFragment > 1;
  });
  return marker == runs.rend() ? 0 : marker->firstTimestamp / (marker->firstFragment - 1);
}

/// Whether a fragment had been announced behind `last`, and was taken back: the recorder leaves its end, its count and
/// its changes; its count not where it takes back a segment with it. `version` is that of the file otherwise.
bool wasAnnounced(const BootstrapInfo& last, const BootstrapInfo& found, std::uint32_t version,
                  const Unwritten& unwritten) {
  if (found.currentMediaTime <= last.currentMediaTime || countedNumbers(found) < countedNumbers(last)) return false;
  const bool isCounted = countedNumbers(found) != countedNumbers(last);
  if (!isCounted && !unwritten.segment && found.bootstrapVersion <= version) return false;
  const std::uint64_t grid = gridOf(fragmentRuns(last));
  if (!isStopped(found) || grid == 0) return true;
  // It was held, so that it ended on the grid, and all of that was within 32 bits of milliseconds.
  constexpr std::uint64_t kTimes = std::uint64_t{1} << 32;
  return found.currentMediaTime % grid == 0 && countedNumbers(found) * grid <= kTimes;
}

/// Between `low` and `high`, and `value` where that lies between.
template <typename Number>
Number within(Number value, Number low, Number high) {
  return std::clamp(value, low, std::max(low, high));
}

}  // namespace

const FragmentRuns& fragmentRuns(const BootstrapInfo& info) {
  static const FragmentRuns kNone;
  return info.fragmentRunTables.empty() ? kNone : info.fragmentRunTables.front().fragmentRuns;
}

const std::vector<SegmentRunEntry>& segmentRuns(const BootstrapInfo& info) {
  static const std::vector<SegmentRunEntry> kNone;
  return info.segmentRunTables.empty() ? kNone : info.segmentRunTables.front().segmentRuns;
}

std::uint64_t countedNumbers(const BootstrapInfo& info) {
  std::uint64_t count = 0;
  for (const SegmentRunEntry& run : segmentRuns(info)) count += run.fragmentsPerSegment;
  return count;
}

BootstrapInfo emptyBootstrap() {
  BootstrapInfo info;
  info.live = true;
  info.segmentRunTables.resize(1);
  info.fragmentRunTables.resize(1);
  return info;
}

AddedRuns addedRuns(const FragmentRuns& before, const FragmentRuns& after) {
  AddedRuns added;
  const auto [inBefore, inAfter] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
  added.goesOn = inBefore == before.end();
  if (added.goesOn) added.entries.assign(inAfter, after.end());
  const auto own = std::find_if(added.entries.begin(), added.entries.end(),
                                [](const FragmentRunEntry& entry) { return !entry.isDiscontinuity(); });
  added.ownRun = static_cast<std::size_t>(own - added.entries.begin());
  return added;
}

BootstrapInfo expectNext(const BootstrapInfo& before, const BootstrapInfo& after, const HistoryStep& step) {
  BootstrapInfo expected = before;
  const AddedRuns added = addedRuns(fragmentRuns(before), fragmentRuns(after));
  const FragmentRuns entries = plausibleEntries(added, step);
  fragmentRunsOf(expected).insert(fragmentRunsOf(expected).end(), entries.begin(), entries.end());

  // A recorder that was reopened begins a run. What one before it had announced, and then took back, has counted.
  const bool first = fragmentRuns(before).empty();
  const bool reopened = !first && !added.joins();
  const auto changes = static_cast<std::uint32_t>(entries.size());
  const std::uint32_t version = before.bootstrapVersion + changes;
  expected.bootstrapVersion =
      within(after.bootstrapVersion, version, reopened ? version + 2 * (changes + step.fragment) : version);
  // A fragment that was held ended where the first number behind it that no key frame opened begins.
  const auto skip =
      std::find_if(entries.begin(), entries.end(), [](const FragmentRunEntry& entry) { return entry.isFragmentGap(); });
  expected.currentMediaTime =
      skip != entries.end() ? skip->firstTimestamp : std::max(after.currentMediaTime, before.currentMediaTime);

  auto& segments = segmentRunsOf(expected);
  const auto& found = segmentRuns(after);
  const bool sameSegment = !segments.empty() && segments.back().firstSegment == step.segment;
  if (!sameSegment) segments.push_back({step.segment, 0});
  const std::uint32_t counted = segments.back().fragmentsPerSegment;
  const std::uint32_t least = counted + 1;
  const bool steady = added.joins() && entries.empty();
  const std::uint32_t value = found.size() == segments.size() ? found.back().fragmentsPerSegment : least;
  segments.back().fragmentsPerSegment = within(value, least, steady ? least : UINT32_MAX);
  return expected;
}

BootstrapInfo expectFile(const BootstrapInfo& last, const BootstrapInfo& found, const Unwritten& unwritten) {
  BootstrapInfo expected = last;
  const AddedRuns added = addedRuns(fragmentRuns(last), fragmentRuns(found));
  const FragmentRuns& entries = added.entries;
  // A jump in time behind the last fragment is marked when the stream goes on, and can wait for a fragment in vain.
  const std::size_t gaps = std::min<std::size_t>(leadingGaps(entries), 1);
  auto& runs = fragmentRunsOf(expected);
  runs.insert(runs.end(), entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(gaps));
  if (isStopped(found)) runs.emplace_back(0U, 0U, ruvo::k2r::Discontinuity::kEndOfPresentation);

  const auto version = last.bootstrapVersion + static_cast<std::uint32_t>(gaps);
  const std::uint64_t counted = countedNumbers(last);
  const bool announced = wasAnnounced(last, found, version, unwritten);
  if (announced) expected.currentMediaTime = found.currentMediaTime;
  const auto extra =
      static_cast<std::uint32_t>(std::min<std::uint64_t>(countedNumbers(found) - counted, UINT32_MAX / 4));
  // How many numbers a segment that was taken back had is not told.
  const std::uint32_t latest = unwritten.segment ? UINT32_MAX : version + 2 * std::max(extra, 1U);
  expected.bootstrapVersion = within(found.bootstrapVersion, version, announced ? latest : version);

  auto& segments = segmentRunsOf(expected);
  const auto& foundSegments = segmentRuns(found);
  if (announced && !segments.empty() && foundSegments.size() == segments.size() + 1) {
    // In a segment that a roll-over had just begun.
    segments.push_back({segments.back().firstSegment + 1, foundSegments.back().fragmentsPerSegment});
  } else if (!segments.empty() && foundSegments.size() == segments.size()) {
    std::uint32_t& count = segments.back().fragmentsPerSegment;
    const std::uint32_t most = announced ? UINT32_MAX : gaps != 0 ? count + unwritten.numbers : count;
    count = within(foundSegments.back().fragmentsPerSegment, count, most);
  }
  return expected;
}

}  // namespace host
