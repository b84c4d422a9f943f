#include "host/verify/bootstrapCheck.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/files/imageFields.h"
#include "host/files/smallFiles.h"
#include "host/verify/bootstrapForm.h"
#include "host/verify/bootstrapHistory.h"

namespace host {
namespace {

using ruvo::k2r::AfraEntry;
using ruvo::k2r::BootstrapInfo;
using ruvo::k2r::FragmentRunEntry;
using Segment = RecordingContent::Segment;

/// What the run table says about a number.
enum class Place { kOutside, kData, kSkipped, kTimestampGap };

Place placeOf(const FragmentRuns& runs, std::uint32_t number) {
  const auto isBehind = [number](const FragmentRunEntry& run) {
    return run.isEndOfPresentation() || run.firstFragment > number;
  };
  const auto next = std::find_if(runs.begin(), runs.end(), isBehind);
  if (next == runs.begin()) return Place::kOutside;
  const FragmentRunEntry& run = *(next - 1);
  if (!run.isDiscontinuity()) return Place::kData;
  return run.isFragmentGap() ? Place::kSkipped : Place::kTimestampGap;
}

/// How many entries without a position there are at the end of the last indexes.
std::uint32_t skippedAtEnd(const std::vector<Segment>& segments) {
  std::uint32_t skipped = 0;
  for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
    if (!segment->result.index) continue;
    const auto& entries = segment->result.index->entries();
    for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry, ++skipped) {
      if (entry->isWritten()) return skipped;
    }
  }
  return skipped;
}

/// Whether the segment after the last one of the bootstrap exists.
bool hasUnknownSegment(const std::vector<Segment>& segments, const BootstrapInfo& bootstrap) {
  const auto& runs = segmentRuns(bootstrap);
  return !runs.empty() && !segments.empty() && segments.back().number == runs.back().firstSegment + 1;
}

const BootstrapInfo* unindexedBootstrap(const std::vector<Segment>& segments) {
  for (auto segment = segments.rbegin(); segment != segments.rend(); ++segment) {
    if (segment->result.unindexed) return &*segment->result.unindexed;
  }
  return nullptr;
}

/// Whether the file `found` was written with the fragment that contains `bootstrap`, or at a stop after it.
bool isWhatWasWrittenWith(const BootstrapInfo& bootstrap, BootstrapInfo found) {
  if (isStopped(found)) found.fragmentRunTables.front().fragmentRuns.pop_back();
  return found == bootstrap;
}

class IndexComparison {
 public:
  IndexComparison(const BootstrapInfo& bootstrap, const FileFindings& bootstrapOut)
      : runs_(fragmentRuns(bootstrap)), bootstrapOut_(bootstrapOut) {
    if (!runs_.empty()) end_ = runs_.front().firstFragment + countedNumbers(bootstrap);
  }

  void add(const IndexFile& index) {
    const auto& entries = index.entries();
    if (entries.empty()) return;
    checkHole(entries.front().fragment);
    for (std::size_t i = 0; i < entries.size(); ++i) checkEntry(index, i);
    next_ = std::uint64_t{entries.back().fragment} + 1;
  }

 private:
  /// Checks the numbers between the indexes of two segments, which none of them contains.
  void checkHole(std::uint32_t end) {
    if (!next_) return;
    for (std::uint64_t number = *next_; number < end; ++number) {
      const auto place = placeOf(runs_, static_cast<std::uint32_t>(number));
      if (place == Place::kData) {
        bootstrapOut_.damage(fmt::format("fragment {}: has data, and no index names it", number));
        return;
      }
    }
  }

  void checkEntry(const IndexFile& index, std::size_t i) {
    const AfraEntry& entry = index.entries()[i];
    const std::uint64_t at = index.offsetOf(i) + kEntryPosition;
    const Place place = placeOf(runs_, entry.fragment);
    const std::string name = fmt::format("entry {}: position", i + 1);
    // The last run has no end. Numbers that the segment runs do not count yet may still get data or be skipped.
    if (place != Place::kOutside && entry.fragment >= end_) return;
    if (place == Place::kData && entry.afraOffset == ruvo::k2r::kNoFragmentOffset) {
      index.out().damage(
          at, fmt::format("{}: expected that of fragment {}, which by the bootstrap has data, found none", name,
                          entry.fragment));
    } else if ((place == Place::kSkipped || place == Place::kOutside) && entry.isWritten()) {
      index.out().damage(at, fmt::format("{}: expected none, since by the bootstrap fragment {} has no data, found {}",
                                         name, entry.fragment, entry.afraOffset));
    }
  }

  const FragmentRuns& runs_;
  const FileFindings& bootstrapOut_;
  /// The first number that the segment runs do not count.
  std::uint64_t end_ = 0;
  std::optional<std::uint64_t> next_;
};

/// Reports the first segment whose run does not end where its index does. Only a note: a recorder that takes back an
/// announced fragment leaves its number in the count.
void noteCounts(const FileFindings& out, const BootstrapInfo& bootstrap, const std::vector<Segment>& segments) {
  if (fragmentRuns(bootstrap).empty()) return;
  std::uint64_t next = fragmentRuns(bootstrap).front().firstFragment;
  for (const auto& run : segmentRuns(bootstrap)) {
    next += run.fragmentsPerSegment;
    const auto segment = std::find_if(segments.begin(), segments.end(),
                                      [&run](const Segment& known) { return known.number == run.firstSegment; });
    if (segment == segments.end() || !segment->result.index || segment->result.index->entries().empty()) continue;
    const std::uint32_t last = segment->result.index->entries().back().fragment;
    if (next == std::uint64_t{last} + 1) continue;
    out.note(fmt::format("segment runs count up to fragment {} in segment {}, whose index ends with {}", next - 1,
                         run.firstSegment, last));
    return;
  }
}

}  // namespace

void checkAgainstFragments(const RecordingContext& recording, const RecordingContent& content) {
  const FileFindings out = recording.in(recording.directory.bootstrapName());
  const BootstrapInfo& found = *content.bootstrap;
  const FragmentChain::Link* const last = recording.chain.last();
  if (last == nullptr) return;
  const BootstrapInfo expected =
      expectFile(last->bootstrap, found, {skippedAtEnd(content.segments), hasUnknownSegment(content.segments, found)});
  // An interruption can come between the swaps of index and bootstrap; an append then repairs it. A stop writes
  // both, so in a stopped recording a difference is damage.
  const Severity severity = isStopped(found) ? Severity::kDamage : Severity::kRepairable;
  const BootstrapInfo* const unindexed = unindexedBootstrap(content.segments);
  if (unindexed != nullptr && isWhatWasWrittenWith(*unindexed, found)) {
    out.add(severity, std::nullopt,
            fmt::format("continues after fragment {}, the last one that an index names", last->step.fragment));
    return;
  }
  if (expected == found) {
    noteCounts(out, found, content.segments);
    return;
  }
  const FragmentChain::Link* const before = recording.chain.beforeLast();
  if (before != nullptr && isWhatWasWrittenWith(before->bootstrap, found)) {
    out.add(severity, std::nullopt, fmt::format("ends before fragment {}, which the index names", last->step.fragment));
    return;
  }
  reportDifferences(expected, found, 0, out);
}

void checkAgainstIndexes(const RecordingContext& recording, const RecordingContent& content) {
  const FileFindings out = recording.in(recording.directory.bootstrapName());
  IndexComparison comparison(*content.bootstrap, out);
  const auto& runs = segmentRuns(*content.bootstrap);
  for (const Segment& segment : content.segments) {
    if (!runs.empty() && segment.number > runs.back().firstSegment) break;
    if (segment.result.index) comparison.add(*segment.result.index);
  }
}

}  // namespace host
