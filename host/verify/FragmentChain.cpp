#include "host/verify/FragmentChain.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/files/imageFields.h"
#include "host/verify/bootstrapForm.h"

namespace host {
namespace {

using ruvo::k2r::AfraEntry;
using ruvo::k2r::BootstrapInfo;
using ruvo::k2r::FragmentRunEntry;

/// Offset of the field in the image of an `abst` box.
constexpr std::uint64_t kCurrentMediaTimeOffset = 21;

/// The last run with a duration, or null. A fragment contains the bootstrap as it was when the fragment joined it, so
/// this is the run of that fragment itself.
const FragmentRunEntry* lastRun(const BootstrapInfo& bootstrap) {
  const FragmentRuns& runs = fragmentRuns(bootstrap);
  const auto found =
      std::find_if(runs.rbegin(), runs.rend(), [](const FragmentRunEntry& run) { return !run.isDiscontinuity(); });
  return found == runs.rend() ? nullptr : &*found;
}

std::optional<std::uint32_t> lastTime(const std::vector<TagContent>& tags) {
  return tags.empty() ? std::nullopt : std::optional(tags.back().place.timestamp);
}

std::optional<std::uint32_t> firstTime(const std::vector<TagContent>& tags) {
  return tags.empty() ? std::nullopt : std::optional(tags.front().place.timestamp);
}

}  // namespace

void FragmentChain::add(const FileFindings& segment, IndexFile& index, std::size_t entry,
                        const FragmentContent& content) {
  if (content.bootstrap) {
    checkNumber(index, entry, content);
    checkTime(segment, index, entry, content);
  }
  const AfraEntry& known = index.entries()[entry];
  checkTagTimes(segment, content, known);
  if (!content.bootstrap) {
    broken_ = true;
    return;
  }
  Link link;
  link.step = {known.segment, known.fragment, known.time, lastTime(content.tags)};
  checkStart(segment, content, link.step);
  link.bootstrap = checkBootstrap(segment, content, link.step);
  link.file = segment.file();
  link.bootstrapOffset = content.boxes.abst.offset;
  beforeLast_ = broken_ ? std::nullopt : std::move(last_);
  last_ = std::move(link);
  broken_ = false;
}

void FragmentChain::checkNumber(IndexFile& index, std::size_t entry, const FragmentContent& content) const {
  const FragmentRunEntry* const run = lastRun(*content.bootstrap);
  // An index of one or two entries has no majority for its numbers, so here the run table of the fragment decides.
  if (!index.numbersAreSure() && run != nullptr && !broken_) {
    const FragmentRuns none;
    const AddedRuns added = addedRuns(last_ ? fragmentRuns(last_->bootstrap) : none, fragmentRuns(*content.bootstrap));
    index.correctNumber(entry, !added.continuesRun() || !last_ ? run->firstFragment : last_->step.fragment + 1);
  }
  const AfraEntry& known = index.entries()[entry];
  if (last_ && known.fragment <= last_->step.fragment) {
    index.out().damage(index.offsetOf(entry) + kEntryFragment,
                       fmt::format("entry {}: fragment: expected one after {}, found {}", entry + 1,
                                   last_->step.fragment, known.fragment));
  }
}

void FragmentChain::checkTime(const FileFindings& segment, IndexFile& index, std::size_t entry,
                              const FragmentContent& content) const {
  AfraEntry& known = index.entries()[entry];
  const FragmentRunEntry* const run = lastRun(*content.bootstrap);
  const bool startsRun = run != nullptr && run->firstFragment == known.fragment;
  if (!startsRun && (!last_ || broken_)) return;
  const std::uint64_t expected = startsRun ? run->firstTimestamp : last_->bootstrap.currentMediaTime;
  if (expected == known.time) return;
  if (firstTime(content.tags) == known.time) {
    // Index and tags agree, so the bootstrap is wrong. If the fragment starts a run, checkBootstrap() reports that run.
    if (!startsRun) {
      segment.in(last_->file)
          .expect(last_->bootstrapOffset + kCurrentMediaTimeOffset, "current media time", known.time, expected);
    }
    return;
  }
  index.out().expect(index.offsetOf(entry), fmt::format("entry {}: time", entry + 1), expected, known.time);
  known.time = expected;
}

void FragmentChain::checkTagTimes(const FileFindings& segment, const FragmentContent& content,
                                  const AfraEntry& entry) const {
  const std::uint64_t start = entry.time;
  const auto first = firstTime(content.tags);
  if (first && *first < start && *first >= earliestTag(entry)) {
    segment.note(content.tags.front().place.offset,
                 fmt::format("tag: of time {}, from a fragment before this one that could not be written", *first));
  } else if (first && *first < start) {
    segment.damage(content.tags.front().place.offset,
                   fmt::format("tag: time: expected {}, where the fragment begins, or later, found {}", start, *first));
  }
}

void FragmentChain::checkStart(const FileFindings& segment, const FragmentContent& content,
                               const HistoryStep& step) const {
  if (!last_) return;
  // A fragment may last longer than the slot of its number on the grid. An append takes the next number, whose slot may
  // begin while the fragment before it lasts. So only the numbers of an append must rise, and not its times.
  const bool mayBeAppend =
      broken_ || addedRuns(fragmentRuns(last_->bootstrap), fragmentRuns(*content.bootstrap)).mayBeAppend(step);
  if (mayBeAppend) return;
  if (last_->bootstrap.currentMediaTime > step.time) {
    segment.in(last_->file)
        .damage(last_->bootstrapOffset + kCurrentMediaTimeOffset,
                fmt::format("abst: current media time: expected {} at most, where the next fragment "
                            "begins, found {}",
                            step.time, last_->bootstrap.currentMediaTime));
  }
  if (last_->step.lastTagTime && *last_->step.lastTagTime >= step.time) {
    segment.damage(content.boxes.position(),
                   fmt::format("fragment: expected to begin after the last tag of the one before it, at {}, found {}",
                               *last_->step.lastTagTime, step.time));
  }
}

std::uint64_t FragmentChain::earliestTag(const AfraEntry& entry) const {
  // If a write fails, the messages stay queued for the next fragment, and the number of the failed fragment has no
  // data. So after numbers without data a fragment may contain earlier messages. Their times have no lower limit: an
  // append whose clock restarted may have queued them.
  const std::uint32_t next = last_ ? last_->step.fragment + 1 : 1;
  return entry.fragment > next ? 0 : entry.time;
}

BootstrapInfo FragmentChain::checkBootstrap(const FileFindings& segment, const FragmentContent& content,
                                            const HistoryStep& step) const {
  const BootstrapInfo& found = *content.bootstrap;
  if (broken_) return found;
  BootstrapInfo expected = expectNext(last_ ? last_->bootstrap : emptyBootstrap(), found, step);
  if (expected == found) return expected;
  if (last_ && expectNext(beforeLast_ ? beforeLast_->bootstrap : emptyBootstrap(), found, step) == found) {
    // The recorder was interrupted before it wrote the bootstrap file of the last fragment, and the append continued
    // from the file before that.
    segment.note(last_->bootstrapOffset, "abst: the recording continues from the bootstrap before this one");
    return found;
  }
  reportDifferences(expected, found, content.boxes.abst.offset, segment);
  return expected;
}

}  // namespace host
