#include "fragmentation/BootstrapBuilder.h"

#include <algorithm>
#include <utility>

#include "fragmentation/truncation.h"

namespace ruvo::k2r {

BootstrapBuilder::BootstrapBuilder(double durationPrecision, std::uint32_t allowedDrift)
    : BootstrapBuilder(durationPrecision, allowedDrift, {}, kNoNumber) {}

BootstrapBuilder::BootstrapBuilder(double durationPrecision, std::uint32_t allowedDrift, BootstrapInfo bootstrap,
                                   std::uint32_t lastFragment)
    : durationPrecision_(durationPrecision),
      allowedDrift_(allowedDrift),
      bootstrap_(std::move(bootstrap)),
      lastFragment_(lastFragment) {
  // A foreign bootstrap may lack a table; all the rest here relies on front().
  if (bootstrap_.segmentRunTables.empty()) bootstrap_.segmentRunTables.emplace_back();
  if (bootstrap_.fragmentRunTables.empty()) bootstrap_.fragmentRunTables.emplace_back();
  if (!segmentRuns().empty()) lastSegment_ = segmentRuns().back().firstSegment;
}

void BootstrapBuilder::addFragment(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start,
                                   std::uint32_t duration) {
  // Without a segment run no number is counted yet, whatever the append's constructor was given.
  if (lastSegment_ == kNoNumber) lastFragment_ = 0;
  if (segment == lastSegment_ && !segmentRuns().empty()) {
    segmentRuns().back().fragmentsPerSegment += 1;
  } else {
    beginSegment(segment);
  }
  // After the segment run: the numbers of a hole count for the segment of the fragment that follows them.
  markHoleBefore(segment, fragment, start);

  const std::uint32_t rounded = roundDuration(duration);
  lastFragment_ = fragment;
  if (continuesRun(start, rounded)) {
    // By the rounded duration and not to the real end: readers of the table compute the same.
    nextTimestamp_ += rounded;
    return;
  }
  append({fragment, start, rounded});
  nextTimestamp_ = start + rounded;
  lastDuration_ = rounded;
}

void BootstrapBuilder::addEmptyFragment(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start) {
  if (fragmentRuns().empty()) return;
  markHoleBefore(segment, fragment, start);
  // One marker for numbers without data that follow each other; the segment run counts all of them.
  if (!fragmentRuns().back().isFragmentGap()) append({fragment, start, Discontinuity::kFragmentGap});
  skipTo(fragment);
}

void BootstrapBuilder::addTimestampGap(std::uint32_t segment, std::uint32_t fragment, std::uint32_t /*start*/) {
  if (fragmentRuns().empty()) return;
  if (!fragmentRuns().back().isTimestampGap()) {
    // Numbers may fall after an append whose clock restarted: the marker then gets the lower one.
    append({std::min(lastFragment_ + 1, fragment), 0, Discontinuity::kTimestampGap});
  }
  if (segment != lastSegment_) beginSegment(segment);
  skipTo(fragment);
}

void BootstrapBuilder::endPresentation() {
  // Not by append(), which counts a change of the runs.
  fragmentRuns().emplace_back(0U, 0U, Discontinuity::kEndOfPresentation);
}

void BootstrapBuilder::resume() {
  auto& runs = fragmentRuns();
  if (!runs.empty() && runs.back().isEndOfPresentation()) runs.pop_back();
  // nextTimestamp_ stays: lastDuration_ is empty, so the first fragment of an append begins a run whatever is
  // predicted.
  while (!runs.empty() && runs.back().firstFragment > lastFragment_) {
    runs.pop_back();
    uncountFragment();
  }
}

void BootstrapBuilder::beginSegment(std::uint32_t segment) {
  segmentRuns().push_back({.firstSegment = segment, .fragmentsPerSegment = 1});
  lastSegment_ = segment;
}

void BootstrapBuilder::uncountFragment() {
  auto& segments = segmentRuns();
  if (segments.empty()) return;
  if (segments.back().fragmentsPerSegment > 1) {
    segments.back().fragmentsPerSegment -= 1;
    return;
  }
  segments.pop_back();
  if (!segments.empty()) lastSegment_ = segments.back().firstSegment;
}

void BootstrapBuilder::markHoleBefore(std::uint32_t segment, std::uint32_t fragment, std::uint32_t start) {
  if (fragment > lastFragment_ + 1) addTimestampGap(segment, fragment - 1, start);
}

void BootstrapBuilder::skipTo(std::uint32_t fragment) {
  // Modulo 2^32: if numbers fall, the count of the segment run falls with them.
  const std::uint32_t skipped = fragment - lastFragment_;
  if (skipped != 0 && segmentRuns().empty()) {
    segmentRuns().push_back({.firstSegment = lastSegment_, .fragmentsPerSegment = skipped});
  } else if (skipped != 0) {
    segmentRuns().back().fragmentsPerSegment += skipped;
  }
  lastFragment_ = fragment;
  lastDuration_.reset();
}

bool BootstrapBuilder::continuesRun(std::uint32_t start, std::uint32_t duration) const {
  const std::uint32_t drift = std::max(start, nextTimestamp_) - std::min(start, nextTimestamp_);
  return lastDuration_ == duration && drift <= allowedDrift_;
}

void BootstrapBuilder::append(const FragmentRunEntry& entry) {
  fragmentRuns().push_back(entry);
  bootstrap_.bootstrapVersion += 1;
}

std::uint32_t BootstrapBuilder::roundDuration(std::uint32_t duration) const {
  // This folder is built without fused multiply-add: the remainder below would lose the rounding of the product, and a
  // duration near a half would round differently on another processor.
  const double exact = duration;
  const double steps = truncateTo32Bits(exact / durationPrecision_);
  const double rest = exact - steps * durationPrecision_;
  const bool down = durationPrecision_ * 0.5 > rest;
  const std::uint32_t rounded = truncateTo32Bits((down ? steps : steps + 1) * durationPrecision_);
  // Never 0, which would make the entry a marker. The precision may be below 1 ms and truncate to 0 itself.
  return rounded != 0 ? rounded : std::max(truncateTo32Bits(durationPrecision_), 1U);
}

}  // namespace ruvo::k2r
