// The small files: those written once, and those that follow each fragment: the segment's index, then the recording's
// bootstrap.

#include <algorithm>

#include "fragmentation/AfraBox.h"
#include "fragmentation/BootstrapWriter.h"
#include "modules/streams/k2r/HostLog.h"
#include "modules/streams/k2r/k2rData.h"
#include "platform/os/durableFiles.h"
#include "platform/os/sleep.h"
#include "util/QVSException.h"

namespace qvs::k2r {
namespace {

using ruvo::k2r::AfraEntry;

/// A small file could not be written. The old one stands, and the next fragment writes it whole again.
class SmallFileFailure : public QVSException {
 public:
  using QVSException::QVSException;
};

}  // namespace

void K2RData::flushSmallFiles() {
  if (controlBehind_) writeControlFile(baseTime_);
  if (metaPending_) writeMetaFile();
  try {
    // What the index does not name yet, the bootstrap must not announce.
    if (writeIndexFile()) writeBootstrapFile();
  } catch (const SmallFileFailure& failure) {
    // The fragment is in the segment, and the next one writes these files whole again.
    logError(*streamContext_, failure.message());
  }
}

bool K2RData::writeSmallFile(const std::string& path, std::span<const std::byte> content) {
  if (platform::os::writeFile(path, content) && platform::os::syncFile(path)) return true;
  logError(*streamContext_, "Failed to write file '" + path + "'");
  return false;
}

bool K2RData::writeIndexFile() {
  indexBehind_ = true;
  if (!hasConsecutiveFragments(fragmentIndex_)) {
    throw QVSException("afra index is corrupt, failing the record");
  }
  util::ByteWriter image;
  ruvo::k2r::appendAfra(image, fragmentIndex_);
  indexBehind_ = !replaceFile(names_.indexName(segmentNumber_), names_.temporaryIndexName(), image.bytes());
  return !indexBehind_;
}

void K2RData::writeBootstrapFile() {
  util::ByteWriter image;
  ruvo::k2r::appendBootstrap(image, bootstrapBuilder_->info(), false);
  replaceFile(names_.bootstrapName(), names_.temporaryBootstrapName(), image.bytes());
}

bool K2RData::replaceFile(const std::string& path, const std::string& temporary, std::span<const std::byte> content) {
  if (!platform::os::writeFile(temporary, content)) {
    throw SmallFileFailure("Failed to write file '" + temporary + "'");
  }
  return swapInFile(temporary, path);
}

bool K2RData::swapInFile(const std::string& from, const std::string& to) {
  for (std::uint32_t attempt = 1;; ++attempt) {
    if (platform::os::replaceFile(from, to)) return true;
    if (attempt >= swapRetries_) break;
    platform::os::sleepMs(swapDelay_);
  }
  logError(*streamContext_, "Failed to swap in file '" + to + "'");
  return false;
}

void K2RData::trimIndex() {
  auto& entries = fragmentIndex_.globalEntries;
  auto& runs = bootstrapBuilder_->fragmentRuns();
  if (runs.empty() || entries.empty()) return;
  const auto held = std::find_if(entries.rbegin(), entries.rend(), [](const AfraEntry& entry) {
    return entry.afraOffset == ruvo::k2r::kHeldFragmentOffset;
  });
  std::uint32_t last = entries.back().fragment;
  if (held != entries.rend() && held->fragment != 0) {
    const bool isBehind =
        std::any_of(held + 1, entries.rend(), [&](const AfraEntry& entry) { return entry.fragment >= held->fragment; });
    // The clock has restarted behind the end: by its number it would take written fragments along.
    if (isBehind && beforeAnnounced_) return takeBackAnnounced();
    last = held->fragment - 1;
    while (!entries.empty() && entries.back().fragment > last) entries.pop_back();
  }
  while (!runs.empty() && runs.back().firstFragment > last) runs.pop_back();
  forgetEmptySegment();
}

void K2RData::forgetEmptySegment() {
  // The fragment taken back may have been the first of its segment; the recording then ends with the one before.
  auto& segments = bootstrapBuilder_->segmentRuns();
  if (!fragmentIndex_.globalEntries.empty() || segments.size() < 2 || !beforeAnnounced_) return;
  if (segments.back().firstSegment != segmentNumber_) return;
  segments = beforeAnnounced_->bootstrap.segmentRuns();
  // A jump in time in front of it had its mark and its numbers there, too.
  bootstrapBuilder_->fragmentRuns() = beforeAnnounced_->bootstrap.fragmentRuns();
}

}  // namespace qvs::k2r
