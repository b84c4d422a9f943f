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

/// The distance of the grid lines, by the last number that no key frame opened; 0 where there is none. A marker whose
/// time was cut to 32 bits tells none.
std::uint64_t gridOf(const FragmentRuns& runs) {
  const auto marker = std::find_if(runs.rbegin(), runs.rend(), [](const FragmentRunEntry& run) {
    return run.isFragmentGap() && run.firstFragment > 1 && run.firstTimestamp % (run.firstFragment - 1) == 0;
  });
  return marker == runs.rend() ? 0 : marker->firstTimestamp / (marker->firstFragment - 1);
}

/// Whether a segment run that counts `before` numbers in one bootstrap may count `after` in a later one, if an append
/// has begun between them. The recorder adds the distance to the first number of the append, at most `ahead`. If the
/// clock of the stream restarted behind the end, the distance is negative, and the sum may pass 0.
bool mayBeCount(std::uint32_t before, std::uint32_t after, std::uint32_t ahead) {
  return after - before <= ahead || before - after <= INT32_MAX;
}

/// Whether the fragment `step` may end at `found`, if it was not held and the run table says that it lasts `duration`.
bool mayEnd(std::uint64_t found, const HistoryStep& step, std::uint32_t duration) {
  // The recorder accepts a time that is older than the base time, or that passes 32 bits. If it falls in the middle of
  // a fragment, the fragment ends before its first message, and contains none.
  if (found < step.time) return !step.lastTagTime;
  if (step.lastTagTime && found <= *step.lastTagTime) return false;
  // The recorder rounds a duration to a multiple of its precision, but not to 0: it is off by half of itself at most.
  // From half of 32 bits on the next multiple may be beyond them, and is cut.
  return found - step.time > INT32_MAX || found - step.time <= std::uint64_t{duration} + duration / 2 + 1;
}

/// Whether a fragment was announced after `last`, and taken back at the stop because no key frame came. The recorder
/// takes back its entries only: its end, its number in the count and its changes in the version stay. If only one of
/// the three differs, that is a wrong number and no such stop. `version` is that of the file without an announcement;
/// `jumped` tells that an append has begun between the two.
bool wasAnnounced(const BootstrapInfo& last, const BootstrapInfo& found, std::uint32_t version, bool jumped,
                  const Unwritten& unwritten) {
  const bool otherEnd = found.currentMediaTime != last.currentMediaTime;
  // If its segment was taken back with it, the count went along, and the end can only have grown.
  const bool segmentTaken = unwritten.segment && found.currentMediaTime > last.currentMediaTime;
  const bool otherCount = segmentTaken || countedNumbers(found) != countedNumbers(last);
  const bool otherVersion = found.bootstrapVersion > version;
  if (otherEnd + otherCount + otherVersion < 2) return false;
  const std::uint64_t grid = gridOf(fragmentRuns(last));
  if (!isStopped(found) || grid == 0) return true;
  // It ended on the grid, and all of that was within 32 bits of milliseconds, as long as no clock has restarted.
  constexpr std::uint64_t kTimes = std::uint64_t{1} << 32;
  const std::uint64_t extra = countedNumbers(found) - countedNumbers(last);
  return (!otherEnd || found.currentMediaTime % grid == 0) && (jumped || extra <= kTimes / grid);
}

/// The end of the fragment `step`, which `found` is where that may be. `runs` has its run and, as the last ones,
/// `added`.
std::uint64_t expectEnd(const FragmentRuns& runs, const FragmentRuns& added, std::uint64_t found,
                        const HistoryStep& step) {
  // A held fragment ended on a grid line, where the first number after it begins that no key frame opened.
  const auto skip =
      std::find_if(added.begin(), added.end(), [](const FragmentRunEntry& entry) { return entry.isFragmentGap(); });
  if (skip != added.end()) return skip->firstTimestamp;
  const auto own =
      std::find_if(runs.rbegin(), runs.rend(), [](const FragmentRunEntry& run) { return !run.isDiscontinuity(); });
  if (own == runs.rend() || mayEnd(found, step, own->duration)) return found;
  return step.time + own->duration;
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

bool AddedRuns::mayBeAppend(const HistoryStep& step) const {
  // A reopened recorder begins a run. It marks the jump to its first key frame, but for one that stands on the grid
  // line of its number.
  if (joins()) return false;
  if (ownRun != 0) return true;
  return step.fragment > 1 && step.time % (step.fragment - 1) == 0;
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
  expected.currentMediaTime = expectEnd(fragmentRuns(expected), entries, after.currentMediaTime, step);

  auto& segments = segmentRunsOf(expected);
  const auto& found = segmentRuns(after);
  const bool sameSegment = !segments.empty() && segments.back().firstSegment == step.segment;
  if (!sameSegment) segments.push_back({step.segment, 0});
  std::uint32_t& count = segments.back().fragmentsPerSegment;
  const std::uint32_t counted = count++;
  const bool steady = added.joins() && entries.empty();
  if (found.size() != segments.size() || steady) return expected;
  // More than one where numbers were left out or announced in vain; any number where the clock of an append restarted.
  const std::uint32_t value = found.back().fragmentsPerSegment;
  if (value > counted || added.mayBeAppend(step)) count = value;
  return expected;
}

BootstrapInfo expectFile(const BootstrapInfo& last, const BootstrapInfo& found, const Unwritten& unwritten) {
  BootstrapInfo expected = last;
  const AddedRuns added = addedRuns(fragmentRuns(last), fragmentRuns(found));
  const FragmentRuns& entries = added.entries;
  // An append marks the jump in time to its first fragment as soon as that begins. It may be stopped before it is
  // written.
  const std::size_t gaps = std::min<std::size_t>(leadingGaps(entries), 1);
  auto& runs = fragmentRunsOf(expected);
  runs.insert(runs.end(), entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(gaps));
  if (isStopped(found)) runs.emplace_back(0U, 0U, ruvo::k2r::Discontinuity::kEndOfPresentation);

  const auto version = last.bootstrapVersion + static_cast<std::uint32_t>(gaps);
  const bool announced = wasAnnounced(last, found, version, gaps != 0, unwritten);
  if (announced) expected.currentMediaTime = found.currentMediaTime;
  // Each announced number changes the table twice at most. Nothing tells how many numbers a segment had that was taken
  // back, and how many appends announced a fragment and never wrote one.
  const std::uint64_t extra = std::max<std::uint64_t>(countedNumbers(found) - countedNumbers(last), 1);
  const bool untold = unwritten.segment || gaps != 0 || extra > UINT32_MAX / 4;
  const std::uint32_t latest = untold ? UINT32_MAX : version + 2 * static_cast<std::uint32_t>(extra);
  expected.bootstrapVersion = within(found.bootstrapVersion, version, announced ? latest : version);

  auto& segments = segmentRunsOf(expected);
  const auto& foundSegments = segmentRuns(found);
  if (announced && !segments.empty() && foundSegments.size() == segments.size() + 1) {
    // In a segment that a roll-over had just begun.
    segments.push_back({segments.back().firstSegment + 1, foundSegments.back().fragmentsPerSegment});
  } else if (!segments.empty() && foundSegments.size() == segments.size()) {
    std::uint32_t& count = segments.back().fragmentsPerSegment;
    const std::uint32_t value = foundSegments.back().fragmentsPerSegment;
    const bool appended = gaps != 0 && mayBeCount(count, value, unwritten.numbers);
    if (appended || (announced && (value >= count || gaps != 0))) count = value;
  }
  return expected;
}

}  // namespace host
