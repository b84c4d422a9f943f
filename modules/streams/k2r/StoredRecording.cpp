#include "modules/streams/k2r/StoredRecording.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "modules/streams/k2r/bootstrapOrder.h"
#include "modules/streams/k2r/storedFiles.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

using ruvo::k2r::AfraEntry;
using ruvo::k2r::AfraIndex;
using ruvo::k2r::BootstrapInfo;
using ruvo::k2r::SegmentRunEntry;

/// The last entry that has a fragment, or null.
const AfraEntry* lastWritten(const AfraIndex& index) {
  const auto& entries = index.globalEntries;
  const auto last = std::find_if(entries.rbegin(), entries.rend(), [](const auto& entry) { return entry.isWritten(); });
  return last == entries.rend() ? nullptr : &*last;
}

std::vector<SegmentRunEntry>& segmentRuns(BootstrapInfo& bootstrap) {
  return bootstrap.segmentRunTables.front().segmentRuns;
}

/// Removes the end marker and all runs after `fragment`.
void dropRunsAfter(BootstrapInfo& bootstrap, std::uint32_t fragment) {
  if (bootstrap.fragmentRunTables.empty()) return;
  auto& runs = bootstrap.fragmentRunTables.front().fragmentRuns;
  while (!runs.empty() && (runs.back().isEndOfPresentation() || runs.back().firstFragment > fragment)) runs.pop_back();
}

}  // namespace

StoredRecording::StoredRecording(IMOFileContext& files, fileset::FileNames names)
    : files_(files), names_(std::move(names)) {
  end_.bootstrap = readBootstrapFile(names_.bootstrapName());
  if (end_.bootstrap.segmentRunTables.empty() || segmentRuns(end_.bootstrap).empty()) {
    throw QVSException("Failed to load segment run entries.");
  }
  end_.segment = segmentRuns(end_.bootstrap).back().firstSegment;
}

StoredRecording::End StoredRecording::findEnd(BaseTime baseTime) {
  end_.index = readIndex(end_.segment);
  skipEmptySegments();
  const auto last = takeUnannounced();
  // Entries at the end may have no fragment, and so no position: writing continues after the last one that has.
  end_.position = lastWritten(end_.index)->afraOffset;
  if (last) end_.baseTime = last->baseTime;
  if (!end_.baseTime && baseTime == BaseTime::kSearched) end_.baseTime = searchBaseTime();
  return std::move(end_);
}

AfraIndex StoredRecording::readIndex(std::uint32_t segment) const {
  return readIndexFile(names_.indexName(segment));
}

std::optional<AfraIndex> StoredRecording::readNextIndex(std::uint32_t segment) const {
  const std::string path = names_.indexName(segment);
  if (!isThere(files_, path)) return std::nullopt;
  const auto content = loadSmallFile(path);
  try {
    return parseIndex(content);
  } catch (const QVSException&) {
    // The bootstrap does not name this segment, so the file may be anything: the next roll-over replaces it.
    return std::nullopt;
  }
}

std::optional<StoredFragment> StoredRecording::readLastFragment(std::uint32_t segment, const AfraIndex& index) const {
  const AfraEntry* const entry = lastWritten(index);
  if (entry == nullptr || entry->segment != segment) return std::nullopt;
  return readStoredFragment(files_, names_.segmentName(segment), entry->afraOffset);
}

void StoredRecording::skipEmptySegments() {
  // A segment that only had a held fragment, which was taken back: the next roll-over begins it again.
  auto& segments = segmentRuns(end_.bootstrap);
  bool skipped = false;
  while (lastWritten(end_.index) == nullptr && segments.size() > 1) {
    segments.pop_back();
    end_.segment = segments.back().firstSegment;
    end_.index = readIndex(end_.segment);
    skipped = true;
  }
  // Going on with an empty index would remove all fragments from the bootstrap.
  if (lastWritten(end_.index) == nullptr) {
    throw QVSException("The index of segment " + std::to_string(end_.segment) +
                       " names no fragment, but the bootstrap does; the recording is not continued.");
  }
  if (skipped) dropRunsAfter(end_.bootstrap, end_.index.globalEntries.back().fragment);
}

std::optional<StoredFragment> StoredRecording::takeUnannounced() {
  // A crash between index and bootstrap: the last fragment carries the bootstrap that was to be written after it.
  auto last = readLastFragment(end_.segment, end_.index);
  if (last && isContinuedBy(end_.bootstrap, last->bootstrap, end_.segment)) end_.bootstrap = last->bootstrap;
  // The same after a roll-over: then the bootstrap does not name the whole segment.
  for (;;) {
    const std::uint32_t next = end_.segment + 1;
    auto index = readNextIndex(next);
    auto fragment = index ? readLastFragment(next, *index) : std::nullopt;
    if (!fragment || !isContinuedBy(end_.bootstrap, fragment->bootstrap, next)) return last;
    end_.bootstrap = fragment->bootstrap;
    end_.index = *std::move(index);
    end_.segment = next;
    last = std::move(fragment);
  }
}

std::optional<std::uint32_t> StoredRecording::searchBaseTime() const {
  // A fragment has no tag to count from if all its messages are of a codec that is not written.
  for (std::uint32_t segment = end_.segment; segment > 0; --segment) {
    const std::string path = names_.segmentName(segment);
    const AfraIndex index = segment == end_.segment ? end_.index : readIndex(segment);
    for (auto entry = index.globalEntries.rbegin(); entry != index.globalEntries.rend(); ++entry) {
      if (!entry->isWritten()) continue;
      const auto fragment = readStoredFragment(files_, path, entry->afraOffset);
      if (fragment && fragment->baseTime) return fragment->baseTime;
    }
  }
  return std::nullopt;
}

}  // namespace qvs::k2r
