// Where a recording ends, by its files. An interruption, or a file that could not be replaced for a while, may have
// left the bootstrap behind the indexes; the fragments say what it should have become.

#include <algorithm>
#include <utility>

#include "modules/streams/k2r/bootstrapOrder.h"
#include "modules/streams/k2r/k2rData.h"
#include "modules/streams/k2r/storedFiles.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

using ruvo::k2r::AfraEntry;
using ruvo::k2r::AfraIndex;
using ruvo::k2r::BootstrapInfo;
using ruvo::k2r::SegmentRunEntry;

/// The last entry with a fragment of its own, or null.
const AfraEntry* lastWritten(const AfraIndex& index) {
  const auto& entries = index.globalEntries;
  const auto last =
      std::find_if(entries.rbegin(), entries.rend(), [](const AfraEntry& entry) { return entry.isWritten(); });
  return last == entries.rend() ? nullptr : &*last;
}

std::vector<SegmentRunEntry>& segmentRuns(BootstrapInfo& bootstrap) {
  return bootstrap.segmentRunTables.front().segmentRuns;
}

/// Takes away the end marker, and what the fragment runs have behind `fragment`.
void dropRunsBehind(BootstrapInfo& bootstrap, std::uint32_t fragment) {
  if (bootstrap.fragmentRunTables.empty()) return;
  auto& runs = bootstrap.fragmentRunTables.front().fragmentRuns;
  while (!runs.empty() && (runs.back().isEndOfPresentation() || runs.back().firstFragment > fragment)) runs.pop_back();
}

}  // namespace

K2RData::RecordingEnd K2RData::loadIndexes(BootstrapInfo& bootstrap) {
  fragmentIndex_ = readIndex(segmentNumber_);
  passEmptySegments(bootstrap);
  const auto last = takeUnannounced(bootstrap);
  // Trailing entries may have no fragment of their own: writing goes on behind the last one that has.
  return {.position = lastWritten(fragmentIndex_)->afraOffset, .baseTime = last ? last->baseTime : std::nullopt};
}

AfraIndex K2RData::readIndex(std::uint32_t segment) const {
  return readIndexFile(names_.indexName(segment));
}

void K2RData::passEmptySegments(BootstrapInfo& bootstrap) {
  // A segment that was begun, and in which nothing but an announced fragment was, is begun again in its turn.
  auto& segments = segmentRuns(bootstrap);
  bool passed = false;
  while (lastWritten(fragmentIndex_) == nullptr && segments.size() > 1) {
    segments.pop_back();
    segmentNumber_ = segments.back().firstSegment;
    fragmentIndex_ = readIndex(segmentNumber_);
    passed = true;
  }
  if (lastWritten(fragmentIndex_) == nullptr) {
    throw QVSException("The index of segment " + std::to_string(segmentNumber_) +
                       " names no fragment, but the bootstrap does; the recording is not continued.");
  }
  if (passed) dropRunsBehind(bootstrap, fragmentIndex_.globalEntries.back().fragment);
}

std::optional<StoredFragment> K2RData::takeUnannounced(BootstrapInfo& bootstrap) {
  auto last = lastStoredFragment(segmentNumber_, fragmentIndex_);
  if (last && isContinuedBy(bootstrap, last->bootstrap, segmentNumber_)) bootstrap = last->bootstrap;
  // Behind a roll-over there may be a whole segment that the bootstrap does not know.
  for (;;) {
    const std::uint32_t next = segmentNumber_ + 1;
    auto index = readIndexOfNext(next);
    auto stored = index ? lastStoredFragment(next, *index) : std::nullopt;
    if (!stored || !isContinuedBy(bootstrap, stored->bootstrap, next)) return last;
    bootstrap = stored->bootstrap;
    last = std::move(stored);
    fragmentIndex_ = *std::move(index);
    segmentNumber_ = next;
  }
}

std::optional<AfraIndex> K2RData::readIndexOfNext(std::uint32_t segment) const {
  const std::string path = names_.indexName(segment);
  if (!isThere(*fileContext_, path)) return std::nullopt;
  const auto content = loadSmallFile(path);
  try {
    return parseIndex(content);
  } catch (const QVSException&) {
    return std::nullopt;  // No index of this recording: the segment is begun anew in its turn.
  }
}

std::optional<StoredFragment> K2RData::lastStoredFragment(std::uint32_t segment, const AfraIndex& index) const {
  const AfraEntry* const entry = lastWritten(index);
  if (entry == nullptr || entry->segment != segment) return std::nullopt;
  return readStoredFragment(*fileContext_, names_.segmentName(segment), entry->afraOffset);
}

std::optional<std::uint32_t> K2RData::storedBaseTime() const {
  // Fragments whose messages are all of a codec that is not written have no tag to count from: one before them has.
  for (std::uint32_t segment = segmentNumber_; segment > 0; --segment) {
    const std::string path = names_.segmentName(segment);
    const AfraIndex index = segment == segmentNumber_ ? fragmentIndex_ : readIndex(segment);
    for (auto entry = index.globalEntries.rbegin(); entry != index.globalEntries.rend(); ++entry) {
      if (!entry->isWritten()) continue;
      const auto stored = readStoredFragment(*fileContext_, path, entry->afraOffset);
      if (stored && stored->baseTime) return stored->baseTime;
    }
  }
  return std::nullopt;
}

void K2RData::restoreBaseTime(std::optional<std::uint32_t> stored) {
  if (!controlPending_) return;
  if (!stored) stored = storedBaseTime();
  if (!stored) return;
  baseTime_ = *stored;
  writeControlFile(baseTime_);
  controlPending_ = false;
}

}  // namespace qvs::k2r
