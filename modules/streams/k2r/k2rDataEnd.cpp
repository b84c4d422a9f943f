// Where a recording ends, by its files. An interruption, or a file that could not be replaced for a while, may have
// left the bootstrap behind the indexes; the fragments say what it should have become.

#include <algorithm>
#include <fstream>

#include "fragmentation/AfraBox.h"
#include "modules/streams/k2r/bootstrapOrder.h"
#include "modules/streams/k2r/k2rData.h"
#include "platform/os/paths.h"
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

std::uint64_t K2RData::loadIndexes(BootstrapInfo& bootstrap) {
  fragmentIndex_ = readIndex(segmentNumber_);
  passEmptySegments(bootstrap);
  takeUnannounced(bootstrap);
  // Trailing entries may have no fragment of their own: writing goes on behind the last one that has.
  return lastWritten(fragmentIndex_)->afraOffset;
}

AfraIndex K2RData::readIndex(std::uint32_t segment) const {
  std::ifstream in(platform::os::toNative(formatSegmentName(basePath_, segment, ".k2i")), std::ios::binary);
  AfraIndex index;
  ruvo::k2r::readAfra(in, index);
  return index;
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

void K2RData::takeUnannounced(BootstrapInfo& bootstrap) {
  const auto take = [&](std::uint32_t segment, const AfraIndex& index) {
    auto stored = lastStoredFragment(segment, index);
    if (!stored || !isContinuedBy(bootstrap, stored->bootstrap, segment)) return false;
    bootstrap = std::move(stored->bootstrap);
    return true;
  };
  take(segmentNumber_, fragmentIndex_);
  // Behind a roll-over there may be a whole segment that the bootstrap does not know.
  IMOFileStatus status;
  for (;;) {
    const std::uint32_t next = segmentNumber_ + 1;
    if (fileContext_->pathStatus(formatSegmentName(basePath_, next, ".k2i").c_str(), &status, 0) != 0) return;
    try {
      AfraIndex index = readIndex(next);
      if (!take(next, index)) return;
      fragmentIndex_ = std::move(index);
      segmentNumber_ = next;
    } catch (const std::exception&) {
      return;  // No index of this recording: the segment is begun anew in its turn.
    }
  }
}

std::optional<StoredFragment> K2RData::lastStoredFragment(std::uint32_t segment, const AfraIndex& index) const {
  const AfraEntry* const entry = lastWritten(index);
  if (entry == nullptr || entry->segment != segment) return std::nullopt;
  return readStoredFragment(*fileContext_, formatSegmentName(basePath_, segment, ".k2r"), entry->afraOffset);
}

void K2RData::restoreBaseTime(std::uint64_t position) {
  if (!controlPending_) return;
  const auto stored = readStoredFragment(*fileContext_, formatSegmentName(basePath_, segmentNumber_, ".k2r"), position);
  if (!stored || !stored->baseTime) return;
  baseTime_ = *stored->baseTime;
  writeControlFile(baseTime_);
  controlPending_ = false;
}

}  // namespace qvs::k2r
