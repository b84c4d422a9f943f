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

/// A recorder marks a jump in time with a run of time 0. Another time there is an error.
bool isPlainTimestampGap(const FragmentRunEntry& entry) {
  return entry.isTimestampGap() && !entry.isFragmentGap() && entry.firstTimestamp == 0;
}

/// How many entries at the front of `entries` mark a jump in time.
std::size_t leadingGaps(const FragmentRuns& entries) {
  return static_cast<std::size_t>(std::find_if_not(entries.begin(), entries.end(), isPlainTimestampGap) -
                                  entries.begin());
}

/// Whether these entries may follow the run of the fragment `step`, if that one was held: markers of later numbers that
/// were skipped because no key frame came, and of jumps in time.
bool areSkips(const FragmentRunEntry* begin, const FragmentRunEntry* end, const HistoryStep& step) {
  return std::all_of(begin, end, [&step](const FragmentRunEntry& entry) {
    const bool skip = entry.isFragmentGap() && !entry.isTimestampGap() && entry.firstTimestamp >= step.time;
    return (skip || isPlainTimestampGap(entry)) && entry.firstFragment > step.fragment;
  });
}

/// The entries by which adding the fragment may have extended the earlier table: markers of a jump in time (an append),
/// the fragment's own run, markers of skipped numbers (the fragment was held). Number and time of the own run are those
/// of the index entry. What does not fit is left out, and thereby reported as a difference.
FragmentRuns plausibleEntries(const AddedRuns& added, const HistoryStep& step) {
  FragmentRuns expected = added.entries;
  const std::size_t gaps = leadingGaps(expected);
  auto rest = expected.begin() + static_cast<std::ptrdiff_t>(added.continuesRun() ? 0 : gaps);
  if (!added.continuesRun() && added.ownRun == gaps) {
    rest->firstFragment = step.fragment;
    rest->firstTimestamp = step.time;
    ++rest;
  }
  if (!areSkips(expected.data() + (rest - expected.begin()), expected.data() + expected.size(), step)) {
    expected.erase(rest, expected.end());
  }
  return expected;
}

/// Whether a fragment may end at `endMs`. A recorder computes ends from message times and from grid lines before them,
/// and message times have 32 bits.
bool isRecordedTime(std::uint64_t endMs) {
  return endMs <= UINT32_MAX;
}

/// The width of the grid in ms, computed from the last marker of a skipped number; 0 if there is none. A marker whose
/// time was cut to 32 bits is not divisible, and is ignored.
std::uint64_t gridOf(const FragmentRuns& runs) {
  const auto marker = std::find_if(runs.rbegin(), runs.rend(), [](const FragmentRunEntry& run) {
    return run.isFragmentGap() && run.firstFragment > 1 && run.firstTimestamp % (run.firstFragment - 1) == 0;
  });
  return marker == runs.rend() ? 0 : marker->firstTimestamp / (marker->firstFragment - 1);
}

/// Whether a segment run may count `before` numbers in one bootstrap and `after` in a later one, if an append has begun
/// between them. The recorder adds the distance to the first number of the append, at most `ahead`. If the stream's
/// clock restarted after the end, the distance is negative, and the sum may wrap below 0.
bool mayBeCount(std::uint32_t before, std::uint32_t after, std::uint32_t ahead) {
  return after - before <= ahead || before - after <= INT32_MAX;
}

/// Whether the fragment `step` may end at `found`, if it was not held and `duration` is that of its run. All in ms.
bool mayEnd(std::uint64_t found, const HistoryStep& step, std::uint32_t duration) {
  // The recorder accepts a message whose time is older than the base time or exceeds 32 bits. If that message closes a
  // fragment, the fragment ends before its first message, and contains no tag.
  if (!isRecordedTime(found)) return false;
  if (found < step.time) return !step.lastTagTime;
  if (step.lastTagTime && found <= *step.lastTagTime) return false;
  // The recorder rounds a duration to a multiple of its precision, and never to 0. So the real duration exceeds the
  // rounded one by half of it at most. From 2^31 on the next multiple may exceed 32 bits and be cut.
  return found - step.time > INT32_MAX || found - step.time <= std::uint64_t{duration} + duration / 2 + 1;
}

/// Whether a fragment was announced after `last`, and taken back at the stop because no key frame came. The recorder
/// takes back its run table entries only; its end, its number in the count and its changes of the version remain. If
/// only one of the three differs, that is a wrong number and no such stop. `version` is that of the file without the
/// announcement; `jumped` says that an append has begun between the two.
bool wasAnnounced(const BootstrapInfo& last, const BootstrapInfo& found, std::uint32_t version, bool jumped,
                  const Unwritten& unwritten) {
  if (!isRecordedTime(found.currentMediaTime)) return false;
  const bool otherEnd = found.currentMediaTime != last.currentMediaTime;
  // If the segment of the fragment was taken back, too, then so was the count; only the end can show it, by being
  // later.
  const bool segmentTaken = unwritten.segment && found.currentMediaTime > last.currentMediaTime;
  const bool otherCount = segmentTaken || countedNumbers(found) != countedNumbers(last);
  const bool otherVersion = found.bootstrapVersion > version;
  if (otherEnd + otherCount + otherVersion < 2) return false;
  const std::uint64_t grid = gridOf(fragmentRuns(last));
  if (!isStopped(found) || grid == 0) return true;
  // The fragment ended on the grid. All numbers are within 32 bits of milliseconds, unless the clock restarted.
  constexpr std::uint64_t kTimes = std::uint64_t{1} << 32;
  const std::uint64_t extra = countedNumbers(found) - countedNumbers(last);
  return (!otherEnd || found.currentMediaTime % grid == 0) && (jumped || extra <= kTimes / grid);
}

/// The end of the fragment `step` in ms: `found` if that is possible. `runs` is the table with its run; the last
/// entries of it are `added`.
std::uint64_t expectEnd(const FragmentRuns& runs, const FragmentRuns& added, std::uint64_t found,
                        const HistoryStep& step) {
  // A held fragment ends on the grid line at which the first skipped number after it begins.
  const auto skip =
      std::find_if(added.begin(), added.end(), [](const FragmentRunEntry& entry) { return entry.isFragmentGap(); });
  if (skip != added.end()) return skip->firstTimestamp;
  const auto own =
      std::find_if(runs.rbegin(), runs.rend(), [](const FragmentRunEntry& run) { return !run.isDiscontinuity(); });
  if (own == runs.rend() || mayEnd(found, step, own->duration)) return found;
  return step.time + own->duration;
}

/// `value`, limited to `low` .. `high`. With `high` below `low` it is `low`; std::clamp alone would be undefined.
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
  // An append always starts a run. It marks the jump in time to its first key frame, except if that is exactly on the
  // grid line of its number; then the time is divisible by the number minus 1.
  if (continuesRun()) return false;
  if (ownRun != 0) return true;
  return step.fragment > 1 && step.time % (step.fragment - 1) == 0;
}

AddedRuns addedRuns(const FragmentRuns& before, const FragmentRuns& after) {
  AddedRuns added;
  const auto [inBefore, inAfter] = std::mismatch(before.begin(), before.end(), after.begin(), after.end());
  added.extendsEarlier = inBefore == before.end();
  if (added.extendsEarlier) added.entries.assign(inAfter, after.end());
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

  // The version counts the changes of the run table. An append starts a run; fragments that the recorder before it had
  // announced and taken back have changed the version twice each, and no file says how many there were.
  const bool first = fragmentRuns(before).empty();
  const bool reopened = !first && !added.continuesRun();
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
  // Without a run of its own and without markers the fragment adds exactly one number.
  const bool addsOneNumber = added.continuesRun() && entries.empty();
  if (found.size() != segments.size() || addsOneNumber) return expected;
  // More than one if numbers were skipped or announced and taken back; any number if the clock of an append restarted.
  const std::uint32_t value = found.back().fragmentsPerSegment;
  if (value > counted || added.mayBeAppend(step)) count = value;
  return expected;
}

BootstrapInfo expectFile(const BootstrapInfo& last, const BootstrapInfo& found, const Unwritten& unwritten) {
  BootstrapInfo expected = last;
  const AddedRuns added = addedRuns(fragmentRuns(last), fragmentRuns(found));
  const FragmentRuns& entries = added.entries;
  // An append marks the jump in time as soon as its first fragment begins, and may be stopped before it writes it.
  const std::size_t gaps = std::min<std::size_t>(leadingGaps(entries), 1);
  auto& runs = fragmentRunsOf(expected);
  runs.insert(runs.end(), entries.begin(), entries.begin() + static_cast<std::ptrdiff_t>(gaps));
  if (isStopped(found)) runs.emplace_back(0U, 0U, ruvo::k2r::Discontinuity::kEndOfPresentation);

  const auto version = last.bootstrapVersion + static_cast<std::uint32_t>(gaps);
  const bool announced = wasAnnounced(last, found, version, gaps != 0, unwritten);
  if (announced) expected.currentMediaTime = found.currentMediaTime;
  // Each announced number changes the version at most twice. No file says how many numbers a segment had that was taken
  // back, or how many appends announced a fragment and never wrote one; then the version has no upper limit.
  const std::uint64_t extra = std::max<std::uint64_t>(countedNumbers(found) - countedNumbers(last), 1);
  const bool unknown = unwritten.segment || gaps != 0 || extra > UINT32_MAX / 4;
  const std::uint32_t latest = unknown ? UINT32_MAX : version + 2 * static_cast<std::uint32_t>(extra);
  expected.bootstrapVersion = within(found.bootstrapVersion, version, announced ? latest : version);

  auto& segments = segmentRunsOf(expected);
  const auto& foundSegments = segmentRuns(found);
  if (announced && !segments.empty() && foundSegments.size() == segments.size() + 1) {
    // The fragment was announced in a segment that a roll-over had just begun.
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
